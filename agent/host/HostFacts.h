#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>

#include "agent/host/HostFact.h"
#include "agent/model/MachineModel.h"

namespace varnock::agent {

/// Keeps a model up to date with the facts about the host. A value is read when it is asked for,
/// and lists as far as it takes to find it. Not thread-safe.
class HostFacts {
  public:
    /// All of them must outlive the object, and the model's root must be an object.
    HostFacts(Host& host, MachineModel& model);

    void refresh(const catalogue::ModelPath& path, const Arguments& arguments, bool isWhole);

    /// Why there may be no value at a path, as a sentence.
    [[nodiscard]] const char* absence(const catalogue::ModelPath& path) const;

  private:
    /// A place in the description: a value or a whole tree with its fact, or what has facts below.
    struct Part {
        const catalogue::Shape* shape = nullptr;
        const HostFact* fact = nullptr;
        std::map<std::string, Part, std::less<>> members;
        std::unique_ptr<Part> element;  ///< of a list
    };

    void add(const HostFact& fact);
    void read(Node& holder, const std::string& name, const Part& part, unsigned index);
    void readKeys(Node& holder, const catalogue::Step& step, const Part& list);
    void readBelow(Node& value, const Part& part, unsigned index);
    void resize(Node& holder, const std::string& name, const Answer& size);

    Host& host_;
    MachineModel& model_;
    Part root_;
};

}  // namespace varnock::agent
