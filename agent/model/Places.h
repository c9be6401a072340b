#pragma once

#include <string>
#include <string_view>

#include "agent/model/Node.h"
#include "catalogue/ModelPath.h"

/// Finding places in a machine's description.
namespace varnock::agent {

/// The parts of a command that paths refer to.
struct Arguments {
    unsigned cabinet = 0;
    unsigned object = 0;
    unsigned ext = 0;
    std::string_view name = {};
};

/// Why there is no value at a path.
enum class Absence { none, cabinet, object, value };

/// What a path leads to.
struct Place {
    Node* value = nullptr;   ///< null if something is absent
    Node* holder = nullptr;  ///< the object or list that has the value or would have it
    Absence absence = Absence::none;
    std::size_t steps = 0;  ///< the steps taken; fewer than the path has if one goes through
                            ///< every element of `value`
};

/// The place of a path. A null counts as absent. All ones as the cabinet means the first one.
[[nodiscard]] Place findPlace(Node& root, const catalogue::ModelPath& path,
                              const Arguments& arguments);

/// Takes one step from a place that has a value. False if something is absent.
[[nodiscard]] bool takeStep(Place& place, const catalogue::Step& step, const Arguments& arguments);

/// The path with the parts of the command in place of their names.
[[nodiscard]] std::string pathText(const catalogue::ModelPath& path, const Arguments& arguments);

/// The same with the positions of the selected elements, so that one place has one text.
[[nodiscard]] std::string positionText(Node& root, const catalogue::ModelPath& path,
                                       const Arguments& arguments);

/// The sentence for a transcript and a person.
[[nodiscard]] const char* absenceText(Absence absence);

}  // namespace varnock::agent
