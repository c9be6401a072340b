// Logical processors, which have the numbers of the operating system.

#include "agent/host/Files.h"
#include "agent/host/HostFact.h"
#include "agent/host/Text.h"

namespace varnock::agent {
namespace {

/// The processor states of the CIM schema.
constexpr unsigned kCpuEnabled = 1;
constexpr unsigned kCpuDisabledByUser = 2;
/// Linux gives the boot processor number 0.
constexpr unsigned kBootProcessor = 0;
constexpr unsigned kCacheLevels = 5;

Answer count(Host&, unsigned) {
    return configuredProcessors();
}

Text info(Host& host, unsigned cpu, const char* name) {
    return host.topology.packageInfo(cpu, name);
}

Answer model(Host& host, unsigned cpu) {
    return info(host, cpu, "CPUModel");
}

Answer description(Host& host, unsigned cpu) {
    const Text family = info(host, cpu, "CPUFamilyNumber");
    const Text model = info(host, cpu, "CPUModelNumber");
    const Text stepping = info(host, cpu, "CPUStepping");
    if (!family || !model || !stepping) {
        return Status::notAvailable;
    }
    return "x86 Family " + *family + " Model " + *model + " Stepping " + *stepping;
}

Answer family(Host& host, unsigned cpu) {
    const Text family = info(host, cpu, "CPUFamilyNumber");
    return family ? parseDecimal(*family) : std::nullopt;
}

Answer multithreading(Host& host, unsigned cpu) {
    const Number threads = host.topology.threadsInCore(cpu);
    return threads ? Number(*threads > 1 ? 1 : 0) : std::nullopt;
}

Answer cores(Host& host, unsigned cpu) {
    return host.topology.coresInPackage(cpu);
}

Text packageName(const Number& package) {
    return package ? Text("Package " + std::to_string(*package)) : std::nullopt;
}

/// The firmware lists the occupied sockets, the system the packages, without a mapping between
/// them. They are matched in order; if the counts differ, nothing is reported.
std::optional<Component> socketOf(Host& host, unsigned cpu) {
    std::vector<Component> sockets = host.firmware.processors();
    const Number before = host.topology.packagesBefore(cpu);
    return before && sockets.size() == host.topology.packages()
               ? numbered(std::move(sockets), *before)
               : std::nullopt;
}

Answer socketName(Host& host, unsigned cpu) {
    const auto socket = socketOf(host, cpu);
    return orElse(socket ? socket->designation : std::nullopt,
                  packageName(host.topology.package(cpu)));
}

/// What the firmware says about the socket of a processor.
template <auto member>
Answer ofSocket(Host& host, unsigned cpu) {
    const auto socket = socketOf(host, cpu);
    return socket ? Answer((*socket).*member) : Status::notAvailable;
}

struct Cache {
    unsigned level;
    unsigned kibibytes;
};

Node caches(Host& host, unsigned cpu, const NodeBuilder& builder) {
    std::vector<Cache> caches;
    for (unsigned level = 1; level <= kCacheLevels; ++level) {
        if (const Number kibibytes = host.topology.cacheSize(cpu, level)) {
            caches.push_back({level, *kibibytes});
        }
    }
    return builder.list(caches, [](const NodeBuilder& element, const Cache& cache) {
        return element.object({{"level", cache.level}, {"size", cache.kibibytes}});
    });
}

Node utilisation(Host& host, unsigned cpu, const NodeBuilder& builder) {
    return builder.values(std::vector{host.activity.cpuUsedPercent(cpu)});
}

constexpr HostFact kProcessorFacts[] = {
    {"cabinets[].processors[]", count},
    {"cabinets[].logicalProcessors", count},
    {"cabinets[].bootProcessor", [](Host&, unsigned) -> Answer { return kBootProcessor; }},
    {"cabinets[].processors[].status",
     [](Host& host, unsigned cpu) -> Answer {
         return host.processors.online(cpu) ? kCpuEnabled : kCpuDisabledByUser;
     }},
    {"cabinets[].processors[].socket", socketName},
    {"cabinets[].processors[].speed",
     [](Host& host, unsigned cpu) -> Answer { return host.processors.megahertz(cpu); }},
    {"cabinets[].processors[].stepping",
     [](Host& host, unsigned cpu) -> Answer { return host.processors.stepping(cpu); }},
    {"cabinets[].processors[].manufacturer",
     [](Host& host, unsigned cpu) -> Answer { return info(host, cpu, "CPUVendor"); }},
    {"cabinets[].processors[].model", model},
    {"cabinets[].processors[].modelName", model},
    {"cabinets[].processors[].brand", model},
    {"cabinets[].processors[].description", description},
    {"cabinets[].processors[].family", family},
    {"cabinets[].processors[].serialNumber", ofSocket<&Component::serialNumber>},
    {"cabinets[].processors[].partNumber", ofSocket<&Component::partNumber>},
    {"cabinets[].processors[].version", ofSocket<&Component::version>},
    {"cabinets[].processors[].threads",
     [](Host& host, unsigned cpu) -> Answer { return host.topology.threadsInPackage(cpu); }},
    {"cabinets[].processors[].enabledThreads",
     [](Host& host, unsigned cpu) -> Answer { return host.topology.onlineThreadsInPackage(cpu); }},
    {"cabinets[].processors[].cores", cores},
    {"cabinets[].processors[].enabledCores", cores},
    {"cabinets[].processors[].multithreading", multithreading},
    {"cabinets[].processors[].physicalNumber",
     [](Host& host, unsigned cpu) -> Answer { return host.topology.package(cpu); }},
    {"cabinets[].processors[].apicId",
     [](Host& host, unsigned cpu) -> Answer { return host.processors.apicId(cpu); }},
    {"cabinets[].processors[].caches", caches},
    {"cabinets[].processors[].utilisation", utilisation},
};

}  // namespace

std::span<const HostFact> processorFacts() {
    return kProcessorFacts;
}

}  // namespace varnock::agent
