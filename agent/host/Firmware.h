#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "agent/host/Components.h"
#include "agent/host/Smbios.h"

namespace varnock::agent {

/// What the firmware says of the machine. Its table is for root alone; without it there are the
/// texts that the kernel shows one by one ("sys_vendor", "board_name" …), of which serial numbers
/// and the UUID are for root as well. What cannot be read is not there. Not thread-safe.
class Firmware {
  public:
    /// Files are looked for under root. The table in memory is that of the running machine, so only
    /// the real root asks for it.
    explicit Firmware(std::filesystem::path root) : root_(std::move(root)) {}

    /// One of the kernel's texts; nothing when it is missing, empty or may not be read.
    std::optional<std::string> text(const char* name) const;

    std::vector<Component> systems();
    std::vector<Component> boards();
    std::vector<Component> chassis();
    std::vector<Component> processors();
    std::optional<std::vector<MemoryModule>> memoryModules();
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
