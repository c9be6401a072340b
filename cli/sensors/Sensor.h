#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/calls/MachineReader.h"

namespace varnockctl {

/// One sensor of a machine: what it reads now, and between which limits that is well. All numbers
/// have the unit of the reading; what the machine does not have is absent, never zero.
struct Sensor {
    using Number = std::optional<unsigned int>;

    const char* type = "";  ///< "fan", "temperature", "voltage", "supply" or "power"
    unsigned int cabinet = 0;
    unsigned int object = 0;
    Number powerClass = {};  ///< of type "power": the class of the component
    std::optional<std::string> name = {};
    Number stateCode = {};  ///< as the agent gives it
    Number value = {};
    std::string_view unit = {};  ///< in the words of the catalogue
    Number quality = {};         ///< of a fan, in percent
    Number low = {};             ///< the range is well, both ends included
    Number high = {};
    Number nominal = {};
    Number warning = {};  ///< from here on it is not well
    Number critical = {};
};

/// Reads every sensor of every cabinet.
std::vector<Sensor> readSensors(MachineReader& machine);

/// The state of a sensor in a word, the worse of what the agent says and what its limits say: "ok",
/// "warning", "critical", "failed", "absent", "unknown"; empty if neither says anything.
std::string_view stateOf(const Sensor& sensor);

/// The place of a reading in its range, in ten characters between brackets; empty without a range.
std::string barOf(const Sensor& sensor);

/// The symbol of a unit of the catalogue, as ASCII: "rpm", "C"; a unit without one is its own
/// symbol.
std::string symbolOf(std::string_view unit);

}  // namespace varnockctl
