#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/host/Smbios.h"

namespace varnock::agent {

/// The firmware table's data about one component of the machine.
struct Component {
    std::optional<std::string> designation;  ///< the label of its slot
    std::optional<std::string> manufacturer;
    std::optional<std::string> model;
    std::optional<std::string> version;
    std::optional<std::string> serialNumber;
    std::optional<std::string> partNumber;
    std::optional<std::string> assetTag;
    std::optional<std::string> description;  ///< its kind as text

    bool operator==(const Component&) const = default;
};

struct MemoryModule : Component {
    std::optional<unsigned> mebibytes;
    std::optional<unsigned> type;          ///< SMBIOS number: 0x18 DDR3, 0x1A DDR4, 0x22 DDR5 …
    std::optional<unsigned> megahertz;     ///< transfers per microsecond, as configured
    std::optional<unsigned> maxMegahertz;  ///< maximum of the module
    std::optional<std::string> formFactor;
    std::optional<std::string> voltage;

    bool operator==(const MemoryModule&) const = default;
};

struct PowerSupply : Component {
    std::optional<unsigned> watts;  ///< greatest output

    bool operator==(const PowerSupply&) const = default;
};

/// All components are in the order of the table.
std::vector<Component> systems(const SmbiosTable& table);
std::vector<Component> boards(const SmbiosTable& table);
std::vector<Component> chassis(const SmbiosTable& table);
/// Occupied sockets for central processors.
std::vector<Component> processors(const SmbiosTable& table);
/// Occupied memory sockets; nothing if the table lists no sockets.
std::optional<std::vector<MemoryModule>> memoryModules(const SmbiosTable& table);
/// Power supplies that are present. The table says nothing of their state since the start of the
/// machine. Nothing if it lists none.
std::optional<std::vector<PowerSupply>> powerSupplies(const SmbiosTable& table);
/// The version of the BIOS.
std::optional<std::string> biosVersion(const SmbiosTable& table);
/// The UUID of the system as text.
std::optional<std::string> systemUuid(const SmbiosTable& table);

}  // namespace varnock::agent
