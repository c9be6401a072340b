#include "agent/host/HostMachine.h"

#include <string>
#include <utility>

#include "agent/host/ComponentClass.h"
#include "agent/host/Components.h"
#include "agent/host/Files.h"
#include "agent/host/HostRow.h"
#include "agent/host/Leases.h"
#include "agent/host/Network.h"
#include "agent/host/Text.h"
#include "runtime/Version.h"

namespace varnock::agent {

namespace {

/// The host is one cabinet.
constexpr unsigned kCabinet = 0;

/// The processor states of the CIM schema.
constexpr unsigned kCpuEnabled = 1;
constexpr unsigned kCpuDisabledByUser = 2;
/// Linux gives the boot processor number 0.
constexpr unsigned kBootProcessor = 0;
/// Every process that can open the socket may send commands: the agent does not check accounts.
constexpr unsigned kAccountsUnchecked = 0;

/// The speed in MHz, and the stepping if known.
std::optional<Bytes> speedAndStepping(const Number& megahertz, const Number& stepping) {
    if (!megahertz) {
        return std::nullopt;
    }
    Bytes bytes;
    appendWord(bytes, *megahertz);
    if (stepping) {
        appendWord(bytes, *stepping);
    }
    return bytes;
}

Text cpuInfo(Host& host, const Command& command, const char* name) {
    return host.topology.packageInfo(command.object, name);
}

Text cpuDescription(Host& host, const Command& command) {
    const Text family = cpuInfo(host, command, "CPUFamilyNumber");
    const Text model = cpuInfo(host, command, "CPUModelNumber");
    const Text stepping = cpuInfo(host, command, "CPUStepping");
    if (!family || !model || !stepping) {
        return std::nullopt;
    }
    return "x86 Family " + *family + " Model " + *model + " Stepping " + *stepping;
}

Number cpuFamily(Host& host, const Command& command) {
    const Text family = cpuInfo(host, command, "CPUFamilyNumber");
    return family ? parseDecimal(*family) : std::nullopt;
}

Number multithreaded(Host& host, const Command& command) {
    const Number threads = host.topology.threadsInCore(command.object);
    return threads ? Number(*threads > 1 ? 1 : 0) : std::nullopt;
}

Text packageName(const Number& package) {
    return package ? Text("Package " + std::to_string(*package)) : std::nullopt;
}

std::optional<NetworkInterface> interfaceNumber(unsigned number) {
    std::vector<NetworkInterface> interfaces = networkInterfaces();
    return number < interfaces.size() ? std::optional(std::move(interfaces[number])) : std::nullopt;
}

std::optional<InterfaceAddress> interfaceAddress(const Command& command) {
    auto interface = interfaceNumber(command.object);
    if (!interface || command.extension >= interface->addresses.size()) {
        return std::nullopt;
    }
    return std::move(interface->addresses[command.extension]);
}

std::optional<Bytes> ipAddress(const Command& command) {
    auto found = interfaceAddress(command);
    return found ? std::optional(std::move(found->address)) : std::nullopt;
}

std::optional<Bytes> netmask(const Command& command) {
    auto found = interfaceAddress(command);
    return found && !found->netmask.empty() ? std::optional(std::move(found->netmask))
                                            : std::nullopt;
}

/// The default gateways of an interface: that of IPv4 before that of IPv6.
std::optional<Bytes> gateway(const std::filesystem::path& root, const Command& command) {
    const auto interface = interfaceNumber(command.object);
    if (!interface) {
        return std::nullopt;
    }
    const std::string routes = readFile(root / "proc/net/route").value_or("");
    const std::string routesIpv6 = readFile(root / "proc/net/ipv6_route").value_or("");
    std::vector<Bytes> gateways;
    for (const auto& found : {defaultGateway(routes, interface->name),
                              defaultGatewayIpv6(routesIpv6, interface->name)}) {
        if (found) {
            gateways.push_back(*found);
        }
    }
    return numbered(std::move(gateways), command.extension);
}

Answer usesDhcp(const Command& command) {
    const auto interface = interfaceNumber(command.object);
    const auto leased = interface ? hasLease(interface->index) : std::nullopt;
    return leased ? Number(*leased ? 1 : 0) : std::nullopt;
}

std::optional<Bytes> macAddress(unsigned number) {
    auto interface = interfaceNumber(number);
    return interface && !interface->mac.empty() ? std::optional(std::move(interface->mac))
                                                : std::nullopt;
}

/// Six bytes each: two unused, the bus as a word, device, function.
std::optional<Bytes> pciList(const PciDevices& pci) {
    const auto places = pci.list();
    if (!places) {
        return std::nullopt;
    }
    Bytes bytes;
    for (const PciPlace& place : *places) {
        appendWord(bytes, 0);
        appendWord(bytes, place.bus);
        bytes.push_back(place.device);
        bytes.push_back(place.function);
    }
    return bytes;
}

Answer pciHeader(const PciDevices& pci, const Command& command) {
    Bytes place;
    if (!command.record.GetDataStream(place) || place.size() != 3) {
        return Status::invalid;
    }
    return pci.header({place[0], place[1], place[2]});
}

Number boardCount(const std::vector<Component>& boards) {
    return boards.empty() ? std::nullopt : Number(static_cast<unsigned>(boards.size()));
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

Text socketName(Host& host, unsigned cpu) {
    const auto socket = socketOf(host, cpu);
    return orElse(socket ? socket->designation : std::nullopt,
                  packageName(host.topology.package(cpu)));
}

std::optional<MemoryModule> memoryModule(Host& host, const Command& command) {
    auto modules = host.firmware.memoryModules();
    return modules ? numbered(std::move(*modules), command.object) : std::nullopt;
}

Number memoryModuleCount(Host& host) {
    const auto modules = host.firmware.memoryModules();
    return modules ? Number(static_cast<unsigned>(modules->size())) : std::nullopt;
}

/// A fact about the memory module addressed by the command.
template <auto member>
Answer ofMemoryModule(Host& host, const Command& command) {
    auto module = memoryModule(host, command);
    return module ? Answer(std::move((*module).*member)) : Status::notAvailable;
}

std::optional<Bytes> memoryType(Host& host, const Command& command) {
    const auto module = memoryModule(host, command);
    return module && module->type ? std::optional(Bytes{static_cast<unsigned char>(*module->type)})
                                  : std::nullopt;
}

/// A component of the firmware table, by the class in the high byte of the extension.
std::optional<Component> component(Host& host, unsigned componentClass, unsigned object) {
    switch (componentClass) {
        case ComponentClass::kChassis:
            return numbered(host.firmware.chassis(), object);
        case ComponentClass::kBoard:
            return numbered(host.firmware.boards(), object);
        case ComponentClass::kMemoryModule: {
            auto modules = host.firmware.memoryModules();
            return modules ? numbered(std::move(*modules), object) : std::nullopt;
        }
        case ComponentClass::kCabinet:
            return numbered(host.firmware.systems(), object);
        case ComponentClass::kPowerSupply: {
            auto supplies = host.firmware.powerSupplies();
            return supplies ? numbered(std::move(*supplies), object) : std::nullopt;
        }
        case ComponentClass::kProcessor:
            return socketOf(host, object);
        default:
            return std::nullopt;
    }
}

Text attributeOf(const Component& part, unsigned attribute) {
    switch (attribute) {
        case 0x00:
            return part.serialNumber;
        case 0x01:
            return part.partNumber;
        case 0x05:
            return part.version;
        case 0x08:
            return part.model;
        case 0x0A:
            return part.manufacturer;
        case 0x0F:
            return part.description;
        default:
            return std::nullopt;
    }
}

Text firmwareText(Host& host, const Command& command) {
    if (command.opcode != kComponentText) {
        return std::nullopt;
    }
    const auto part = component(host, command.extension >> 8, command.object);
    return part ? attributeOf(*part, command.extension & 0xFF) : std::nullopt;
}

constexpr HostRow kRows[] = {
    // Identification
    {0xE204, 0, Objects::none, [](Host&, const Command&) -> Answer { return kCabinet; }},
    {0xE209, 0, Objects::none, [](Host&, const Command&) -> Answer { return kCabinet; }},
    {kComponentText, 0xA303, Objects::none,
     [](Host&, const Command&) -> Answer { return std::string(TovQXObjectVersion); }},
    {kComponentText, 0x1510, Objects::none,
     [](Host& host, const Command&) -> Answer {
         return orElse(host.firmware.uuid(), host.system.machineId());
     }},
    // System boards and firmware
    {0x0D00, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return boardCount(host.firmware.boards()); }},
    {0x0D04, 0, Objects::any,
     [](Host& host, const Command& c) -> Answer {
         const auto board = numbered(host.firmware.boards(), c.object);
         return board ? board->designation : std::nullopt;
     }},
    {0x3390, 0, Objects::none,
     [](Host& host, const Command&) -> Answer {
         return host.firmware.biosVersion() ? Number(1) : std::nullopt;
     }},
    {0x3392, 0, Objects::none,
     [](Host& host, const Command&) -> Answer {
         return host.firmware.biosVersion() ? Text("BIOS") : std::nullopt;
     }},
    {0x3394, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return host.firmware.biosVersion(); }},
    // Memory modules
    {0x0700, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return memoryModuleCount(host); }},
    {0x0702, 0, Objects::any, ofMemoryModule<&MemoryModule::designation>},
    {0x0703, 0, Objects::any,
     [](Host& host, const Command& c) -> Answer { return memoryType(host, c); }},
    {0x0709, 0, Objects::any, ofMemoryModule<&MemoryModule::megahertz>},
    {0x070A, 0, Objects::any, ofMemoryModule<&MemoryModule::mebibytes>},
    {0x070D, 0, Objects::any, ofMemoryModule<&MemoryModule::formFactor>},
    {0x070E, 0, Objects::any, ofMemoryModule<&MemoryModule::maxMegahertz>},
    {0x070F, 0, Objects::any, ofMemoryModule<&MemoryModule::voltage>},
    // Configuration
    {kConfigurationRead, 0x0201, Objects::none,
     [](Host&, const Command&) -> Answer { return hostName(); }},
    {kConfigurationRead, 0x020E, Objects::none,
     [](Host&, const Command&) -> Answer { return timeZoneHours(); }},
    {kConfigurationRead, 0x0210, Objects::none,
     [](Host& host, const Command&) -> Answer { return host.firmware.assetTag(); }},
    {kConfigurationRead, 0x3812, Objects::none,
     [](Host&, const Command&) -> Answer { return kAccountsUnchecked; }},
    {kConfigurationRead, 0x3813, Objects::none,
     [](Host&, const Command&) -> Answer { return ownGroup(); }},
    // Processors
    {0x0600, 0, Objects::none,
     [](Host&, const Command&) -> Answer { return configuredProcessors(); }},
    {0x0614, 0, Objects::none,
     [](Host&, const Command&) -> Answer { return configuredProcessors(); }},
    {0x0601, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer {
         return host.processors.online(c.object) ? kCpuEnabled : kCpuDisabledByUser;
     }},
    {0x0602, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return socketName(host, c.object); }},
    {0x0603, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer {
         return speedAndStepping(host.processors.megahertz(c.object),
                                 host.processors.stepping(c.object));
     }},
    {0x0604, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return cpuInfo(host, c, "CPUVendor"); }},
    {0x0605, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return cpuInfo(host, c, "CPUModel"); }},
    {0x0606, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer {
         return host.topology.threadsInPackage(c.object);
     }},
    {0x0607, kAnyExtension, Objects::processors,
     [](Host& host, const Command& c) -> Answer {
         return host.topology.cacheSize(c.object, c.extension);
     }},
    {0x060A, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return host.topology.coresInPackage(c.object); }},
    {0x060B, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return cpuInfo(host, c, "CPUModel"); }},
    {0x060D, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return cpuFamily(host, c); }},
    {0x060E, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return host.topology.coresInPackage(c.object); }},
    {0x0611, 0, Objects::processors,
     [](Host&, const Command&) -> Answer { return kBootProcessor; }},
    {0x0612, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return host.activity.cpuUsedPercent(c.object); }},
    {0x0615, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return host.topology.package(c.object); }},
    {0x0617, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return multithreaded(host, c); }},
    {0x0618, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return host.processors.apicId(c.object); }},
    {0x061C, 0, Objects::processors,
     [](Host& host, const Command& c) -> Answer {
         return host.topology.onlineThreadsInPackage(c.object);
     }},
    {kComponentText, 0x0A08, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return cpuInfo(host, c, "CPUModel"); }},
    {kComponentText, 0x0A0A, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return cpuInfo(host, c, "CPUVendor"); }},
    {kComponentText, 0x0A0F, Objects::processors,
     [](Host& host, const Command& c) -> Answer { return cpuDescription(host, c); }},
    // Operating system
    {kComponentText, 0xA703, Objects::none,
     [](Host& host, const Command&) -> Answer { return host.system.version(); }},
    {kComponentText, 0xA708, Objects::none,
     [](Host& host, const Command&) -> Answer { return host.system.productName(); }},
    {0x0C70, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return host.system.dmtfType(); }},
    {0x0118, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return host.activity.bootTime(); }},
    {0xE104, 0, Objects::none, [](Host&, const Command&) -> Answer { return systemTime(); }},
    {0x0920, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return host.activity.memoryUsedPercent(); }},
    // Network
    {0x1700, 0, Objects::none,
     [](Host&,
        const Command&) -> Answer { return static_cast<unsigned>(networkInterfaces().size()); }},
    {0x1703, kAnyExtension, Objects::any,
     [](Host&, const Command& c) -> Answer { return ipAddress(c); }},
    {0x1704, kAnyExtension, Objects::any,
     [](Host&, const Command& c) -> Answer { return netmask(c); }},
    {0x1706, 0, Objects::any, [](Host&, const Command& c) { return usesDhcp(c); },
     "the interface has no IPv4 address that expires"},
    {0x1707, 0, Objects::any,
     [](Host&, const Command& c) -> Answer { return macAddress(c.object); }},
    {0x1708, kAnyExtension, Objects::any,
     [](Host& host, const Command& c) -> Answer { return gateway(host.root, c); }},
    // PCI
    {0x1401, 0, Objects::any,
     [](Host& host, const Command& c) -> Answer { return pciHeader(host.pci, c); }},
    {0x1490, 0, Objects::none,
     [](Host& host, const Command&) -> Answer { return pciList(host.pci); }},
};

const HostRow* rowFor(const Command& command) {
    for (const std::span<const HostRow> rows :
         {std::span<const HostRow>(kRows), sensorRows(), powerRows(), logRows(), scanRows()}) {
        for (const HostRow& row : rows) {
            if (row.opcode == command.opcode &&
                (row.extension == command.extension || row.extension == kAnyExtension)) {
                return &row;
            }
        }
    }
    return nullptr;
}

bool exists(Objects objects, unsigned object) {
    switch (objects) {
        case Objects::none:
            return object == 0;
        case Objects::first:
            return object <= 1;
        case Objects::processors:
            return object < configuredProcessors();
        case Objects::any:
            break;
    }
    return true;
}

Answer withReason(Answer answer, std::string reason) {
    if (answer.status == Status::notAvailable && answer.reason.empty()) {
        answer.reason = std::move(reason);
    }
    return answer;
}

}  // namespace

HostMachine::HostMachine(const std::filesystem::path& root)
    : sources_(std::make_unique<Sources>(root)) {}

HostMachine::~HostMachine() = default;

Answer HostMachine::answer(const Command& command) {
    if (command.cabinet != kCabinet && command.cabinet != kNoCabinet) {
        return withReason(Status::notAvailable,
                          "there is no cabinet " + std::to_string(command.cabinet));
    }
    const HostRow* row = rowFor(command);
    if (row == nullptr) {
        return withReason(firmwareText(*sources_, command),
                          "a host has no source for it, or its firmware does not tell it");
    }
    return exists(row->objects, command.object)
               ? withReason(row->answer(*sources_, command), row->absence)
               : withReason(Status::notAvailable,
                            "there is no object " + std::to_string(command.object));
}

}  // namespace varnock::agent
