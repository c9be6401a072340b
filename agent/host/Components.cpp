#include "agent/host/Components.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>

namespace varnock::agent {
namespace {

using Text = std::optional<std::string>;
using Number = std::optional<unsigned>;
using Names = std::span<const char* const>;

/// Types of structures.
constexpr unsigned kBios = 0;
constexpr unsigned kSystem = 1;
constexpr unsigned kBoard = 2;
constexpr unsigned kChassis = 3;
constexpr unsigned kProcessor = 4;
constexpr unsigned kMemoryDevice = 17;
constexpr unsigned kPowerSupply = 39;

/// In all of these, numbers 1 and 2 mean "other" and "unknown" and are omitted.
constexpr unsigned kFirstName = 3;
constexpr std::array kChassisTypes = {"Desktop",
                                      "Low Profile Desktop",
                                      "Pizza Box",
                                      "Mini Tower",
                                      "Tower",
                                      "Portable",
                                      "Laptop",
                                      "Notebook",
                                      "Hand Held",
                                      "Docking Station",
                                      "All In One",
                                      "Sub Notebook",
                                      "Space-saving",
                                      "Lunch Box",
                                      "Main Server Chassis",
                                      "Expansion Chassis",
                                      "Sub Chassis",
                                      "Bus Expansion Chassis",
                                      "Peripheral Chassis",
                                      "RAID Chassis",
                                      "Rack Mount Chassis",
                                      "Sealed-case PC",
                                      "Multi-system Chassis",
                                      "Compact PCI",
                                      "Advanced TCA",
                                      "Blade",
                                      "Blade Enclosure",
                                      "Tablet",
                                      "Convertible",
                                      "Detachable",
                                      "IoT Gateway",
                                      "Embedded PC",
                                      "Mini PC",
                                      "Stick PC"};
constexpr std::array kBoardTypes = {
    "Server Blade",         "Connectivity Switch", "System Management Module",
    "Processor Module",     "I/O Module",          "Memory Module",
    "Daughter Board",       "Motherboard",         "Processor+Memory Module",
    "Processor+I/O Module", "Interconnect Board"};
constexpr std::array kFormFactors = {
    "SIMM", "SIP",          "Chip", "DIP",    "ZIP",   "Proprietary Card", "DIMM",
    "TSOP", "Row Of Chips", "RIMM", "SODIMM", "SRIMM", "FB-DIMM",          "Die"};
constexpr std::array kMemoryTypes = {"DRAM",
                                     "EDRAM",
                                     "VRAM",
                                     "SRAM",
                                     "RAM",
                                     "ROM",
                                     "Flash",
                                     "EEPROM",
                                     "FEPROM",
                                     "EPROM",
                                     "CDRAM",
                                     "3DRAM",
                                     "SDRAM",
                                     "SGRAM",
                                     "RDRAM",
                                     "DDR",
                                     "DDR2",
                                     "DDR2 FB-DIMM",
                                     "",
                                     "",
                                     "",
                                     "DDR3",
                                     "FBD2",
                                     "DDR4",
                                     "LPDDR",
                                     "LPDDR2",
                                     "LPDDR3",
                                     "LPDDR4",
                                     "Logical Non-volatile",
                                     "HBM",
                                     "HBM2",
                                     "DDR5",
                                     "LPDDR5",
                                     "HBM3"};

Text nameOf(const Number& number, Names names) {
    const unsigned index = number.value_or(0) - kFirstName;
    if (index >= names.size() || *names[index] == '\0') {
        return std::nullopt;
    }
    return names[index];
}

/// The firmware uses one of a few values for an unknown number.
Number unless(const Number& number, std::initializer_list<unsigned> unknown) {
    return number && std::find(unknown.begin(), unknown.end(), *number) == unknown.end()
               ? number
               : std::nullopt;
}

/// A word, or the dword of newer versions for larger values.
Number extended(const Number& number, unsigned mark, const Number& large) {
    return number == mark ? (large ? Number(*large & 0x7FFFFFFF) : std::nullopt) : number;
}

bool isCentralProcessor(const SmbiosStructure& socket) {
    constexpr unsigned kCentral = 3;
    constexpr unsigned kPopulated = 0x40;
    return socket.byte(0x05) == kCentral && (socket.byte(0x18).value_or(0) & kPopulated) != 0;
}

Component processor(const SmbiosStructure& socket) {
    return {.designation = socket.text(0x04),
            .manufacturer = socket.text(0x07),
            .model = {},
            .version = socket.text(0x10),
            .serialNumber = socket.text(0x20),
            .partNumber = socket.text(0x22),
            .assetTag = socket.text(0x21),
            .description = {}};
}

Component system(const SmbiosStructure& structure) {
    return {.designation = {},
            .manufacturer = structure.text(0x04),
            .model = structure.text(0x05),
            .version = structure.text(0x06),
            .serialNumber = structure.text(0x07),
            .partNumber = structure.text(0x19),
            .assetTag = {},
            .description = {}};
}

Component board(const SmbiosStructure& structure) {
    return {.designation = structure.text(0x0A),
            .manufacturer = structure.text(0x04),
            .model = structure.text(0x05),
            .version = structure.text(0x06),
            .serialNumber = structure.text(0x07),
            .partNumber = {},
            .assetTag = structure.text(0x08),
            .description = nameOf(structure.byte(0x0D), kBoardTypes)};
}

Component enclosure(const SmbiosStructure& structure) {
    constexpr unsigned kLock = 0x80;
    const unsigned type = structure.byte(0x05).value_or(0) & ~kLock;
    // Records of the contents precede the order number.
    const unsigned contents = structure.byte(0x13).value_or(0) * structure.byte(0x14).value_or(0);
    return {.designation = {},
            .manufacturer = structure.text(0x04),
            .model = {},
            .version = structure.text(0x06),
            .serialNumber = structure.text(0x07),
            .partNumber = structure.text(0x15 + contents),
            .assetTag = structure.text(0x08),
            .description = nameOf(type, kChassisTypes)};
}

Number mebibytesOf(const SmbiosStructure& device) {
    constexpr unsigned kUnknown = 0xFFFF;
    constexpr unsigned kSeeExtended = 0x7FFF;
    constexpr unsigned kInKibibytes = 0x8000;
    const Number size = unless(device.word(0x0C), {kUnknown});
    if (size && (*size & kInKibibytes) != 0) {
        return unless((*size & ~kInKibibytes) / 1024, {0});
    }
    return unless(extended(size, kSeeExtended, device.dword(0x1C)), {0});
}

Number megahertzOf(const SmbiosStructure& device, std::size_t offset, std::size_t large) {
    return unless(extended(device.word(offset), 0xFFFF, device.dword(large)), {0});
}

/// "1.35 V", as printed on modules.
Text voltageOf(const SmbiosStructure& device) {
    const Number millivolts = unless(device.word(0x26), {0});
    if (!millivolts) {
        return std::nullopt;
    }
    char text[16];
    std::snprintf(text, sizeof text, "%u.%03u", *millivolts / 1000, *millivolts % 1000);
    std::string volts = text;
    volts.erase(volts.find_last_not_of('0') + 1);
    return volts + (volts.back() == '.' ? "0 V" : " V");
}

MemoryModule memoryModule(const SmbiosStructure& device) {
    constexpr std::size_t kType = 0x12;
    MemoryModule module;
    module.designation = device.text(0x10);
    module.manufacturer = device.text(0x17);
    module.serialNumber = device.text(0x18);
    module.assetTag = device.text(0x19);
    // Memory manufacturers identify a model by its part number.
    module.model = module.partNumber = device.text(0x1A);
    module.version = device.text(0x2B);
    module.mebibytes = mebibytesOf(device);
    module.type = unless(device.byte(kType), {0, 1, 2});
    module.megahertz = megahertzOf(device, 0x20, 0x58);
    module.maxMegahertz = megahertzOf(device, 0x15, 0x54);
    module.formFactor = nameOf(device.byte(0x0E), kFormFactors);
    module.voltage = voltageOf(device);
    const Text type = nameOf(device.byte(kType), kMemoryTypes);
    if (type && module.formFactor) {
        module.description = *type + " " + *module.formFactor;
    }
    return module;
}

bool isPresent(const SmbiosStructure& supply) {
    constexpr unsigned kPresent = 0x02;
    return (supply.word(0x0E).value_or(0) & kPresent) != 0;
}

PowerSupply powerSupply(const SmbiosStructure& supply) {
    constexpr unsigned kUnknown = 0x8000;
    PowerSupply found;
    found.designation = supply.text(0x05);
    found.model = supply.text(0x06);
    found.manufacturer = supply.text(0x07);
    found.serialNumber = supply.text(0x08);
    found.assetTag = supply.text(0x09);
    found.partNumber = supply.text(0x0A);
    found.version = supply.text(0x0B);
    found.watts = unless(supply.word(0x0C), {0, kUnknown});
    return found;
}

std::vector<Component> each(const std::vector<SmbiosStructure>& structures,
                            Component (*read)(const SmbiosStructure&)) {
    std::vector<Component> components;
    std::transform(structures.begin(), structures.end(), std::back_inserter(components), read);
    return components;
}

std::string uuidText(std::array<unsigned, 16> bytes, bool isLittleEndian) {
    if (isLittleEndian) {
        std::reverse(bytes.begin(), bytes.begin() + 4);
        std::reverse(bytes.begin() + 4, bytes.begin() + 6);
        std::reverse(bytes.begin() + 6, bytes.begin() + 8);
    }
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char digits[12];
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        text.append(i == 4 || i == 6 || i == 8 || i == 10 ? "-" : "").append(digits);
    }
    return text;
}

}  // namespace

std::vector<Component> systems(const SmbiosTable& table) {
    return each(table.ofType(kSystem), system);
}

std::vector<Component> boards(const SmbiosTable& table) {
    return each(table.ofType(kBoard), board);
}

std::vector<Component> chassis(const SmbiosTable& table) {
    return each(table.ofType(kChassis), enclosure);
}

std::vector<Component> processors(const SmbiosTable& table) {
    std::vector<SmbiosStructure> sockets = table.ofType(kProcessor);
    std::erase_if(sockets, [](const auto& socket) { return !isCentralProcessor(socket); });
    return each(sockets, processor);
}

std::optional<std::vector<MemoryModule>> memoryModules(const SmbiosTable& table) {
    const std::vector<SmbiosStructure> sockets = table.ofType(kMemoryDevice);
    if (sockets.empty()) {
        return std::nullopt;
    }
    std::vector<MemoryModule> modules;
    for (const SmbiosStructure& socket : sockets) {
        // A size of 0 means an empty socket.
        if (socket.word(0x0C).value_or(0) != 0) {
            modules.push_back(memoryModule(socket));
        }
    }
    return modules;
}

std::optional<std::vector<PowerSupply>> powerSupplies(const SmbiosTable& table) {
    std::vector<SmbiosStructure> supplies = table.ofType(kPowerSupply);
    if (supplies.empty()) {
        return std::nullopt;
    }
    std::erase_if(supplies, [](const auto& supply) { return !isPresent(supply); });
    std::vector<PowerSupply> found;
    std::transform(supplies.begin(), supplies.end(), std::back_inserter(found), powerSupply);
    return found;
}

std::optional<std::string> biosVersion(const SmbiosTable& table) {
    const std::vector<SmbiosStructure> bios = table.ofType(kBios);
    return bios.empty() ? std::nullopt : bios.front().text(0x05);
}

std::optional<std::string> systemUuid(const SmbiosTable& table) {
    const std::vector<SmbiosStructure> found = table.ofType(kSystem);
    std::array<unsigned, 16> bytes{};
    const auto uuid =
        found.empty() ? std::span<const std::uint8_t>() : found.front().bytes(8, bytes.size());
    // All zeros or all ones mean that the machine has no UUID.
    const auto isAll = [&](unsigned value) {
        return std::all_of(uuid.begin(), uuid.end(), [value](auto byte) { return byte == value; });
    };
    if (isAll(0) || isAll(0xFF)) {
        return std::nullopt;
    }
    std::copy(uuid.begin(), uuid.end(), bytes.begin());
    return uuidText(bytes, table.hasLittleEndianUuid());
}

}  // namespace varnock::agent
