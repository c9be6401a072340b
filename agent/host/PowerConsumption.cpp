#include "agent/host/PowerConsumption.h"

#include <algorithm>
#include <string_view>

#include "agent/host/ComponentClass.h"

namespace varnock::agent {
namespace {

/// The class of the components whose energy a zone counts; nothing for a part of a component.
std::optional<unsigned> classOf(const PowerZone& zone) {
    if (zone.name.starts_with("package-")) {
        return ComponentClass::kProcessor;
    }
    if (zone.name == "dram") {
        return ComponentClass::kMemoryModule;
    }
    if (zone.name == "psys") {
        return ComponentClass::kCabinet;
    }
    return std::nullopt;
}

/// The name of a zone within another begins with that of the other: "package-1 dram".
std::string fullName(const PowerZone& zone, const std::vector<PowerZone>& all) {
    const std::string parent = zone.directory.substr(0, zone.directory.rfind(':'));
    const auto found = std::find_if(
        all.begin(), all.end(), [&](const PowerZone& other) { return other.directory == parent; });
    return found != all.end() ? found->name + " " + zone.name : zone.name;
}

}  // namespace

std::vector<PowerMeter> PowerConsumption::meters(unsigned componentClass, Time now) {
    std::vector<PowerMeter> meters;
    if (componentClass == ComponentClass::kCabinet) {
        for (unsigned i = 0; i < sensors_.powerMeters(); ++i) {
            meters.push_back(sensors_.powerMeter(i).value_or(PowerMeter{}));
        }
    }
    const std::vector<PowerZone> zones = zones_.list(now);
    for (const PowerZone& zone : zones) {
        if (classOf(zone) == componentClass) {
            meters.push_back({fullName(zone, zones), zones_.watts(zone, now)});
        }
    }
    return meters;
}

std::vector<unsigned> PowerConsumption::classes(Time now) {
    std::vector<unsigned> classes;
    for (const unsigned each :
         {ComponentClass::kMemoryModule, ComponentClass::kCabinet, ComponentClass::kProcessor}) {
        if (!meters(each, now).empty()) {
            classes.push_back(each);
        }
    }
    return classes;
}

}  // namespace varnock::agent
