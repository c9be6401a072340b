#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalogue/Row.h"

/// Paths into the description of a machine, as the column "model" has them.
namespace varnock::catalogue {

/// What selects an element of a list: a number of the path itself, or a part of the command.
enum class Selector {
    none,
    literal,
    cabinet,
    object,
    ext,
    elementClass,  ///< the high byte of the extension
    name,          ///< the text in the data of the command
    from,          ///< every element from a literal number on
    text,          ///< a text of the path itself; not in the catalogue
};

/// A member, and the element of it if it is a list.
struct Step {
    std::string_view member;
    Selector selector = Selector::none;
    std::string_view key = {};  ///< the member that has the selector's value; empty: the position
    unsigned literal = 0;
    std::string_view text = {};
};

struct ModelPath {
    std::vector<Step> steps;
    bool counts = false;  ///< the number of elements, not a value
};

/// A text that the column "model" does not allow gives a path that nothing has. The views point
/// into the text.
ModelPath modelPath(std::string_view text);

/// The parts of a cell with several, separated by " / ".
std::vector<std::string_view> partsOf(std::string_view cell);

}  // namespace varnock::catalogue
