#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "agent/host/Components.h"
#include "agent/host/Smbios.h"

namespace varnock::agent {

/// The firmware's data about the machine. Only root can read its table; without it the texts of the
/// kernel's files are used ("sys_vendor", "board_name" …), of which serial numbers and the UUID
/// also need root. Unreadable data is missing. Not thread-safe.
class Firmware {
  public:
    /// Files are searched under `root`. The table in memory belongs to the running machine, so it
    /// is read only if `root` is the real root directory.
    explicit Firmware(std::filesystem::path root) : root_(std::move(root)) {}

    /// A text of the kernel's files; nothing if it is missing, empty or unreadable.
    std::optional<std::string> text(const char* name) const;

    std::vector<Component> systems();
    std::vector<Component> boards();
    std::vector<Component> chassis();
    std::vector<Component> processors();
    std::optional<std::vector<MemoryModule>> memoryModules();
    std::optional<std::vector<PowerSupply>> powerSupplies();
    std::optional<std::string> assetTag();
    std::optional<std::string> biosVersion();
    std::optional<std::string> uuid();

  private:
    struct TextNames {
        const char* manufacturer;
        const char* model;
        const char* version;
        const char* serialNumber;
        const char* assetTag;
    };

    const SmbiosTable& table();
    std::vector<Component> orTexts(std::vector<Component> components, const TextNames& names) const;

    std::filesystem::path root_;
    bool triedMemory_ = false;
    std::optional<SmbiosTable> table_;
};

}  // namespace varnock::agent
