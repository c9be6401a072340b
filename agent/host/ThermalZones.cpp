#include "agent/host/ThermalZones.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

namespace fs = std::filesystem;

constexpr const char* kThermalZones = "sys/class/thermal";
constexpr std::string_view kZonePrefix = "thermal_zone";

std::optional<unsigned> zoneNumber(const std::string& name) {
    return name.starts_with(kZonePrefix)
               ? parseDecimal(std::string_view(name).substr(kZonePrefix.size()))
               : std::nullopt;
}

}  // namespace

fs::path ThermalZones::directory(unsigned number) const {
    return root_ / kThermalZones / (std::string(kZonePrefix) + std::to_string(number));
}

/// The files contain thousandths of a degree.
std::optional<double> ThermalZones::celsius(const fs::path& file) const {
    constexpr double kThousand = 1000;
    const auto line = readLine(file);
    int value = 0;
    if (!line) {
        return std::nullopt;
    }
    const char* end = line->data() + line->size();
    const auto [stop, error] = std::from_chars(line->data(), end, value);
    return error == std::errc() && stop == end ? std::optional(value / kThousand) : std::nullopt;
}

std::optional<double> ThermalZones::tripPoint(const ThermalZone& zone,
                                              std::string_view type) const {
    const fs::path zoneDirectory = directory(zone.number);
    for (unsigned point = 0;; ++point) {
        const std::string name = "trip_point_" + std::to_string(point);
        const auto found = readLine(zoneDirectory / (name + "_type"));
        if (!found) {
            return std::nullopt;
        }
        if (*found == type) {
            return celsius(zoneDirectory / (name + "_temp"));
        }
    }
}

std::vector<ThermalZone> ThermalZones::list() const {
    std::error_code failure;
    std::vector<ThermalZone> zones;
    for (fs::directory_iterator entry(root_ / kThermalZones, failure), end;
         !failure && entry != end; entry.increment(failure)) {
        const auto number = zoneNumber(entry->path().filename());
        auto type = number ? readLine(directory(*number) / "type") : std::nullopt;
        if (type) {
            zones.push_back({std::move(*type), *number});
        }
    }
    std::sort(zones.begin(), zones.end(),
              [](const ThermalZone& a, const ThermalZone& b) { return a.number < b.number; });
    return zones;
}

TemperatureSensor ThermalZones::sensor(const ThermalZone& zone) const {
    TemperatureSensor sensor;
    sensor.name = zone.type;
    sensor.celsius = celsius(directory(zone.number) / "temp");
    sensor.warning = tripPoint(zone, "hot");
    sensor.critical = tripPoint(zone, "critical");
    sensor.health = healthWithin({.leastBeforeFailure = {},
                                  .least = {},
                                  .most = sensor.warning,
                                  .mostBeforeFailure = sensor.critical},
                                 sensor.celsius);
    return sensor;
}

}  // namespace varnock::agent
