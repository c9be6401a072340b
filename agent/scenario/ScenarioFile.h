#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/AgentClock.h"
#include "agent/model/Node.h"

namespace varnock::agent {

/// What happens at a time of a scenario: a request for the control socket.
struct ScenarioStep {
    AgentClock::Time at{0};
    std::string kind = {};
    std::string request = {};  ///< empty for the end
};

/// A course of events on a machine.
struct Scenario {
    std::string name = {};
    std::string machine = {};              ///< name or file of a machine; empty for any
    std::vector<ScenarioStep> steps = {};  ///< in the order of their times; the last is the end
};

/// True for a document that is meant as a scenario, not as a machine.
[[nodiscard]] bool isScenario(const Node& document);

/// A scenario from the text of a file. Throws BadMachineFile with a line
/// "file:line:column: member: expected X, found Y" for each fault.
[[nodiscard]] Scenario readScenario(const std::string& text, const std::string& file);

/// A scenario by its name or file. Throws BadMachineFile.
[[nodiscard]] Scenario loadScenario(const std::string& name);

}  // namespace varnock::agent
