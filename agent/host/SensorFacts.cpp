// Fans, temperatures and voltages.

#include <algorithm>

#include "agent/host/HostFact.h"

namespace varnock::agent {
namespace {

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

std::optional<Fan> fan(Host& host, unsigned number) {
    return host.sensors.fan(number);
}

std::optional<TemperatureSensor> temperature(Host& host, unsigned number) {
    const unsigned sensors = host.sensors.temperatures();
    if (number < sensors) {
        return host.sensors.temperature(number);
    }
    const auto zone = numbered(otherZones(host), number - sensors);
    return zone ? std::optional(host.thermalZones.sensor(*zone)) : std::nullopt;
}

std::optional<VoltageSensor> voltage(Host& host, unsigned number) {
    return host.sensors.voltage(number);
}

/// A value of the sensor that `find` gives.
template <auto find, auto value>
Answer of(Host& host, unsigned number) {
    const auto found = find(host, number);
    return found ? Answer(value(*found)) : Status::notAvailable;
}

Number health(const Sensor& sensor) {
    return sensor.health ? Number(static_cast<unsigned>(*sensor.health)) : std::nullopt;
}

std::string name(const Sensor& sensor) {
    return sensor.name;
}

Number speed(const Fan& fan) {
    return wholeNumber(fan.rpm);
}

Number celsius(const TemperatureSensor& sensor) {
    return wholeNumber(sensor.celsius);
}

Number warning(const TemperatureSensor& sensor) {
    return wholeNumber(sensor.warning);
}

Number critical(const TemperatureSensor& sensor) {
    return wholeNumber(sensor.critical);
}

Number millivolts(const std::optional<double>& volts) {
    constexpr double kThousand = 1000;
    return wholeNumber(volts ? std::optional(*volts * kThousand) : std::nullopt);
}

Number volts(const VoltageSensor& sensor) {
    return millivolts(sensor.volts);
}

/// From the least to the greatest: all four limits, else the inner two. Without these nothing,
/// since their places in the list tell which limits they are.
Node thresholds(Host& host, unsigned number, const NodeBuilder& builder) {
    const auto sensor = voltage(host, number);
    if (!sensor) {
        return Node();
    }
    const Limits& limits = sensor->limits;
    const Number least = millivolts(limits.least);
    const Number most = millivolts(limits.most);
    for (const std::vector<Number>& each :
         {std::vector<Number>{millivolts(limits.leastBeforeFailure), least, most,
                              millivolts(limits.mostBeforeFailure)},
          std::vector<Number>{least, most}}) {
        Node list = builder.values(each);
        if (std::none_of(list.Begin(), list.End(), [](const Node& n) { return n.IsNull(); })) {
            return list;
        }
    }
    return Node();
}

constexpr HostFact kSensorFacts[] = {
    {"cabinets[].fans[]",
     [](Host& host, unsigned) -> Answer { return countOf(host.sensors.fans()); }, kNoFan},
    {"cabinets[].fans[].status", of<fan, health>, kNoFan},
    {"cabinets[].fans[].speed", of<fan, speed>, kNoFan},
    {"cabinets[].fans[].designation", of<fan, name>, kNoFan},
    {"cabinets[].temperatureSensors[]",
     [](Host& host, unsigned) -> Answer {
         return countOf(host.sensors.temperatures() + otherZones(host).size());
     },
     kNoTemperature},
    {"cabinets[].temperatureSensors[].status", of<temperature, health>, kNoTemperature},
    {"cabinets[].temperatureSensors[].temperature", of<temperature, celsius>, kNoTemperature},
    {"cabinets[].temperatureSensors[].designation", of<temperature, name>, kNoTemperature},
    {"cabinets[].temperatureSensors[].warningThreshold", of<temperature, warning>, kNoTemperature},
    {"cabinets[].temperatureSensors[].criticalThreshold", of<temperature, critical>,
     kNoTemperature},
    {"cabinets[].voltages[]",
     [](Host& host, unsigned) -> Answer { return countOf(host.sensors.voltages()); }, kNoVoltage},
    {"cabinets[].voltages[].status", of<voltage, health>, kNoVoltage},
    {"cabinets[].voltages[].designation", of<voltage, name>, kNoVoltage},
    {"cabinets[].voltages[].thresholds", thresholds, kNoVoltage},
    {"cabinets[].voltages[].voltage", of<voltage, volts>, kNoVoltage},
};

}  // namespace

std::span<const HostFact> sensorFacts() {
    return kSensorFacts;
}

}  // namespace varnock::agent
