// The cabinet, the operating system and the agent itself.

#include "agent/host/HostFact.h"
#include "agent/host/Text.h"
#include "runtime/Version.h"

namespace varnock::agent {
namespace {

/// The host is one cabinet.
constexpr unsigned kCabinet = 0;

constexpr HostFact kSystemFacts[] = {
    {"system.name", [](Host&, unsigned) -> Answer { return hostName(); }},
    {"system.timeZone", [](Host&, unsigned) -> Answer { return timeZoneHours(); }},
    {"system.uuid",
     [](Host& host, unsigned) -> Answer {
         return orElse(host.firmware.uuid(), host.system.machineId());
     }},
    {"system.memoryUtilisation",
     [](Host& host, unsigned, const NodeBuilder& builder) {
         return builder.values(std::vector{host.activity.memoryUsedPercent()});
     }},
    {"cabinets[]", [](Host&, unsigned) -> Answer { return 1U; }},
    {"cabinets[].number", [](Host&, unsigned) -> Answer { return kCabinet; }},
    {"cabinets[].chassisCabinet", [](Host&, unsigned) -> Answer { return kCabinet; }},
    {"cabinets[].agentVersion",
     [](Host&, unsigned) -> Answer { return std::string(TovQXObjectVersion); }},
    {"cabinets[].bootTime",
     [](Host& host, unsigned) -> Answer { return host.activity.bootTime(); }},
    {"cabinets[].time", [](Host&, unsigned) -> Answer { return std::string("now"); }},
    {"cabinets[].operatingSystem.name",
     [](Host& host, unsigned) -> Answer { return host.system.productName(); }},
    {"cabinets[].operatingSystem.version",
     [](Host& host, unsigned) -> Answer { return host.system.version(); }},
    {"cabinets[].operatingSystem.dmtfType",
     [](Host& host, unsigned) -> Answer { return host.system.dmtfType(); }},
};

}  // namespace

std::span<const HostFact> systemFacts() {
    return kSystemFacts;
}

}  // namespace varnock::agent
