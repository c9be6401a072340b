// Fans, temperatures and voltages.

#include <algorithm>

#include "agent/host/HostRow.h"

namespace varnock::agent {
namespace {

constexpr unsigned kLargestByte = 0xFF;
constexpr unsigned kLargestWord = 0xFFFF;

constexpr const char* kNoFan = "no driver shows such a fan";
constexpr const char* kNoTemperature = "no driver shows such a temperature";
constexpr const char* kNoVoltage = "no driver shows such a voltage";

/// The kernel shows most of its thermal zones as sensors, too, under the name of their type.
bool isAmongSensors(Host& host, const ThermalZone& zone) {
    std::string driver = zone.type;
    std::replace(driver.begin(), driver.end(), '-', '_');
    return host.sensors.hasDriver(driver);
}

std::vector<ThermalZone> otherZones(Host& host) {
    std::vector<ThermalZone> zones = host.thermalZones.list();
    std::erase_if(zones, [&](const ThermalZone& zone) { return isAmongSensors(host, zone); });
    return zones;
}

std::optional<TemperatureSensor> temperature(Host& host, unsigned number) {
    const unsigned sensors = host.sensors.temperatures();
    if (number < sensors) {
        return host.sensors.temperature(number);
    }
    const auto zone = numbered(otherZones(host), number - sensors);
    return zone ? std::optional(host.thermalZones.sensor(*zone)) : std::nullopt;
}

/// An answer from the sensor that the command addresses.
template <typename Found, typename Value>
Answer answerFrom(const Found& found, Value value) {
    return found ? Answer(value(*found)) : Status::notAvailable;
}

template <typename Value>
Answer ofFan(Host& host, const Command& command, Value value) {
    return answerFrom(host.sensors.fan(command.object), value);
}

template <typename Value>
Answer ofTemperature(Host& host, const Command& command, Value value) {
    return answerFrom(temperature(host, command.object), value);
}

template <typename Value>
Answer ofVoltage(Host& host, const Command& command, Value value) {
    return answerFrom(host.sensors.voltage(command.object), value);
}

Number millivolts(const std::optional<double>& volts) {
    constexpr double kThousand = 1000;
    return wholeNumber(volts ? std::optional(*volts * kThousand) : std::nullopt, kLargestWord);
}

/// From the least to the greatest: all four limits, else the inner two. Without these nothing,
/// since their places in the list tell which limits they are.
std::optional<Bytes> thresholds(const VoltageSensor& sensor) {
    const Limits& limits = sensor.limits;
    Bytes bytes;
    const auto append = [&](std::initializer_list<Number> all) {
        const bool known = std::all_of(all.begin(), all.end(), [](const Number& n) { return n; });
        for (const Number& each : known ? all : std::initializer_list<Number>()) {
            appendWord(bytes, *each);
        }
        return known;
    };
    const Number least = millivolts(limits.least);
    const Number most = millivolts(limits.most);
    return append({millivolts(limits.leastBeforeFailure), least, most,
                   millivolts(limits.mostBeforeFailure)}) ||
                   append({least, most})
               ? std::optional(bytes)
               : std::nullopt;
}

Number health(const Sensor& sensor) {
    return sensor.health ? Number(static_cast<unsigned>(*sensor.health)) : std::nullopt;
}

constexpr HostRow kSensorRows[] = {
    {0x0300, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return countOf(host.sensors.fans()); }, kNoFan},
    {0x0301, 0, Objects::any, [](Host& host, const Command& c) { return ofFan(host, c, health); },
     kNoFan},
    {0x0302, 0, Objects::any,
     [](Host& host, const Command& c) {
         return ofFan(host, c, [](const Fan& fan) { return wholeNumber(fan.rpm, kLargestWord); });
     },
     kNoFan},
    {0x0304, 0, Objects::any,
     [](Host& host, const Command& c) {
         return ofFan(host, c, [](const Fan& fan) { return fan.name; });
     },
     kNoFan},
    {0x0400, 0, Objects::none,
     [](Host& host, const Command&) -> Answer {
         return countOf(host.sensors.temperatures() + otherZones(host).size());
     },
     kNoTemperature},
    {0x0401, 0, Objects::any,
     [](Host& host, const Command& c) { return ofTemperature(host, c, health); }, kNoTemperature},
    {0x0402, 0, Objects::any,
     [](Host& host, const Command& c) {
         return ofTemperature(host, c, [](const TemperatureSensor& sensor) {
             return wholeNumber(sensor.celsius, kLargestByte);
         });
     },
     kNoTemperature},
    {0x0404, 0, Objects::any,
     [](Host& host, const Command& c) {
         return ofTemperature(host, c, [](const TemperatureSensor& sensor) { return sensor.name; });
     },
     kNoTemperature},
    {kConfigurationRead, 0x0090, Objects::any,
     [](Host& host, const Command& c) {
         return ofTemperature(host, c, [](const TemperatureSensor& sensor) {
             return wholeNumber(sensor.warning, kLargestByte);
         });
     },
     kNoTemperature},
    {kConfigurationRead, 0x0091, Objects::any,
     [](Host& host, const Command& c) {
         return ofTemperature(host, c, [](const TemperatureSensor& sensor) {
             return wholeNumber(sensor.critical, kLargestByte);
         });
     },
     kNoTemperature},
    {0x0520, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return countOf(host.sensors.voltages()); },
     kNoVoltage},
    {0x0521, 0, Objects::any,
     [](Host& host, const Command& c) { return ofVoltage(host, c, health); }, kNoVoltage},
    {0x0522, 0, Objects::any,
     [](Host& host, const Command& c) {
         return ofVoltage(host, c, [](const VoltageSensor& sensor) { return sensor.name; });
     },
     kNoVoltage},
    {0x0523, 0, Objects::any,
     [](Host& host, const Command& c) { return ofVoltage(host, c, thresholds); }, kNoVoltage},
    {0x0524, 0, Objects::any,
     [](Host& host, const Command& c) {
         return ofVoltage(host, c,
                          [](const VoltageSensor& sensor) { return millivolts(sensor.volts); });
     },
     kNoVoltage},
};

}  // namespace

std::span<const HostRow> sensorRows() {
    return kSensorRows;
}

}  // namespace varnock::agent
