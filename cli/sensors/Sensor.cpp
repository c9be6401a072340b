#include "cli/sensors/Sensor.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "catalogue/Units.h"

namespace varnockctl {
namespace {

using Key = MachineReader::Key;

/// A call whose number is a member of the sensor.
struct Reading {
    Sensor::Number Sensor::*member;
    const char* call;
};

/// Sensors that are numbered from 0 in each cabinet.
struct Kind {
    const char* type;
    const char* count;
    const char* name;
    const char* value;
    std::array<Reading, 3> others;
};

constexpr std::array<Kind, 4> kKinds{{
    {"fan",
     "getNumberFans",
     "getFanDesignation",
     "getCurrentFanSpeed",
     {{{&Sensor::stateCode, "getFanStatus"}, {&Sensor::quality, "getFanQuality"}, {}}}},
    {"temperature",
     "getNumberTempSensors",
     "getTempSensorDesignation",
     "getCurrentTemperature",
     {{{&Sensor::stateCode, "getTempSensorStatus"},
       {&Sensor::warning, "getConfWarningTempThresh"},
       {&Sensor::critical, "getConfCriticalTempThresh"}}}},
    {"voltage",
     "getNumberVoltages",
     "getVoltageDesignation",
     "getCurrentVoltage",
     {{{&Sensor::stateCode, "getVoltageStatus"}, {&Sensor::nominal, "getVoltageNominal"}, {}}}},
    {"supply",
     "getNumberPowerSupplies",
     "getPowerSupplyDesignation",
     "getPowerSupplyLoad",
     {{{&Sensor::stateCode, "getPowerSupplyStatus"},
       {&Sensor::nominal, "getPowerSupplyNominal"},
       {}}}},
}};

Sensor::Number numberOf(const Json& value) {
    return value.IsUint() ? std::optional(value.GetUint()) : std::nullopt;
}

std::optional<std::string> textOf(const Json& value) {
    return value.IsString() ? std::optional(std::string(value.GetString(), value.GetStringLength()))
                            : std::nullopt;
}

/// The agent does not say which threshold is which, so the range of all is the one that is well.
void takeThresholds(Sensor& sensor, const Json& thresholds) {
    for (rapidjson::SizeType i = 0; thresholds.IsArray() && i < thresholds.Size(); ++i) {
        const unsigned int limit = thresholds[i].GetUint();
        sensor.low = std::min(limit, sensor.low.value_or(limit));
        sensor.high = std::max(limit, sensor.high.value_or(limit));
    }
}

std::string partOf(const char* type, unsigned int cabinet, unsigned int object) {
    return "cabinets[" + std::to_string(cabinet) + "]." + type + "[" + std::to_string(object) + "]";
}

/// Asks for the name and the value of a sensor.
void readValue(MachineReader& machine, Sensor& sensor, const std::string& part, const Key& key,
               const char* name, const char* value) {
    sensor.name = textOf(machine.ask(part + ".name", name, key));
    sensor.value = numberOf(machine.ask(part + ".value", value, key));
    sensor.unit = findCall(value)->unit;
}

Sensor readSensor(MachineReader& machine, const Kind& kind, const Key& key) {
    Sensor sensor{.type = kind.type, .cabinet = key.cabinetNr, .object = key.objectId};
    const std::string part = partOf(kind.type, key.cabinetNr, key.objectId);
    readValue(machine, sensor, part, key, kind.name, kind.value);
    for (const Reading& reading : kind.others) {
        if (reading.call != nullptr) {
            sensor.*reading.member =
                numberOf(machine.ask(part + "." + reading.call, reading.call, key));
        }
    }
    if (std::string_view(kind.type) == "voltage") {
        constexpr const char* call = "getVoltageThresholds";
        takeThresholds(sensor, machine.ask(part + "." + call, call, key));
    }
    return sensor;
}

void readKind(MachineReader& machine, const Kind& kind, unsigned int cabinet,
              std::vector<Sensor>& out) {
    const unsigned int count =
        machine.askCount(std::string("cabinets[") + std::to_string(cabinet) + "]." + kind.count,
                         kind.count, Key(cabinet, 0, 0));
    for (unsigned int object = 0; object < count; ++object) {
        out.push_back(readSensor(machine, kind, Key(cabinet, object, 0)));
    }
}

/// The consumers of power come in classes, whose number is the extension.
void readPower(MachineReader& machine, unsigned int cabinet, std::vector<Sensor>& out) {
    const std::string part = "cabinets[" + std::to_string(cabinet) + "].power";
    const Json classes =
        machine.ask(part, "getPowerConsumptionSupportedComponentClasses", Key(cabinet, 0, 0));
    for (rapidjson::SizeType i = 0; classes.IsArray() && i < classes.Size(); ++i) {
        const unsigned int number = classes[i].GetUint();
        // A byte counts the classes; no machine has as many consumers of one.
        const unsigned int count = std::min(
            machine.askNumber(part + "[" + std::to_string(number) + "]",
                              "getPowerConsumptionNumberClassComponents", Key(cabinet, 0, number)),
            256U);
        for (unsigned int object = 0; object < count; ++object) {
            Sensor sensor{.type = "power", .cabinet = cabinet, .object = object};
            sensor.powerClass = number;
            readValue(machine, sensor, partOf("power", cabinet, object),
                      Key(cabinet, object, number), "getPowerConsumptionComponentDesignation",
                      "getPowerConsumptionCurrentValue");
            out.push_back(std::move(sensor));
        }
    }
}

std::string_view wordOfCode(const Sensor& sensor) {
    if (!sensor.stateCode) {
        return {};
    }
    const std::string_view word = varnock::catalogue::nameOf(
        *varnock::catalogue::findVocabulary("health"), *sensor.stateCode);
    return word.empty() ? "unknown" : word;
}

std::string_view wordOfLimits(const Sensor& sensor) {
    if (!sensor.value) {
        return {};
    }
    if (sensor.critical && *sensor.value >= *sensor.critical) {
        return "critical";
    }
    const bool isOutside = (sensor.warning && *sensor.value >= *sensor.warning) ||
                           (sensor.low && *sensor.value < *sensor.low) ||
                           (sensor.high && *sensor.value > *sensor.high);
    const bool hasLimits = sensor.critical || sensor.warning || sensor.low;
    return isOutside ? "warning" : hasLimits ? "ok" : "";
}

/// How much a state asks for a hand.
int weightOf(std::string_view state) {
    constexpr std::array<std::string_view, 6> kOrder{"unknown", "ok",       "absent",
                                                     "warning", "critical", "failed"};
    const auto* const found = std::find(kOrder.begin(), kOrder.end(), state);
    return found != kOrder.end() ? static_cast<int>(found - kOrder.begin()) : -1;
}

struct Range {
    std::uint64_t low;
    std::uint64_t high;
};

std::optional<Range> rangeOf(const Sensor& sensor) {
    if (sensor.low && sensor.high) {
        return Range{*sensor.low, *sensor.high};
    }
    if (const Sensor::Number top = sensor.critical ? sensor.critical : sensor.warning) {
        return Range{0, *top};
    }
    if (std::string_view(sensor.type) == "supply" && sensor.nominal) {
        return Range{0, *sensor.nominal};
    }
    return std::nullopt;
}

}  // namespace

std::vector<Sensor> readSensors(MachineReader& machine) {
    std::vector<Sensor> out;
    for (const unsigned int cabinet : machine.cabinets()) {
        for (const Kind& kind : kKinds) {
            readKind(machine, kind, cabinet, out);
        }
        readPower(machine, cabinet, out);
    }
    return out;
}

std::string_view stateOf(const Sensor& sensor) {
    const std::string_view said = wordOfCode(sensor);
    const std::string_view found = wordOfLimits(sensor);
    return weightOf(said) >= weightOf(found) ? said : found;
}

std::string barOf(const Sensor& sensor) {
    constexpr std::uint64_t kSteps = 10;
    const auto range = rangeOf(sensor);
    if (!range || !sensor.value || range->high <= range->low) {
        return {};
    }
    const std::uint64_t value =
        std::clamp<std::uint64_t>(*sensor.value, range->low, range->high) - range->low;
    const std::size_t filled =
        (value * kSteps + (range->high - range->low) / 2) / (range->high - range->low);
    return "[" + std::string(filled, '#') + std::string(kSteps - filled, '-') + "]";
}

std::string symbolOf(std::string_view unit) {
    const varnock::catalogue::Unit* const known = varnock::catalogue::findUnit(unit);
    std::string symbol(known != nullptr ? known->symbols.front().text : unit);
    std::erase_if(symbol, [](char c) { return static_cast<signed char>(c) < 0; });
    return symbol;
}

}  // namespace varnockctl
