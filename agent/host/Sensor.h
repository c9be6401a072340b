#pragma once

#include <optional>
#include <string>

#include "agent/Health.h"

namespace varnock::agent {

/// What all sensors have. A value that cannot be read is missing.
struct Sensor {
    std::string name;
    /// What the machine itself says; missing if the sensor has neither limits nor alarms.
    std::optional<Health> health;

    bool operator==(const Sensor&) const = default;
};

struct Fan : Sensor {
    std::optional<double> rpm;

    bool operator==(const Fan&) const = default;
};

struct TemperatureSensor : Sensor {
    std::optional<double> celsius;
    std::optional<double> warning;   ///< highest normal value
    std::optional<double> critical;  ///< value at which the machine protects itself

    bool operator==(const TemperatureSensor&) const = default;
};

/// The limits that a value may have; beyond the outer ones the component has failed.
struct Limits {
    std::optional<double> leastBeforeFailure;
    std::optional<double> least;
    std::optional<double> most;
    std::optional<double> mostBeforeFailure;

    bool operator==(const Limits&) const = default;
};

struct VoltageSensor : Sensor {
    std::optional<double> volts;
    Limits limits;

    bool operator==(const VoltageSensor&) const = default;
};

struct PowerMeter {
    std::string name;
    std::optional<double> watts;

    bool operator==(const PowerMeter&) const = default;
};

/// The state of a value within its limits; nothing without a value or without limits.
std::optional<Health> healthWithin(const Limits& limits, const std::optional<double>& value);

}  // namespace varnock::agent
