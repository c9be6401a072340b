#include "agent/host/FirmwareTable.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "agent/host/Files.h"
#include "hardware/PhysicalMemory.h"

namespace varnock::agent {
namespace {

/// The area in which BIOS firmware places its entry point.
constexpr unsigned kArea = 0xF0000;
constexpr unsigned kAreaSize = 0x10000;
/// Version 3 gives only an upper limit of the table's size, which may be any number.
constexpr std::uint32_t kLargestTable = std::uint32_t{16} << 20;

std::vector<std::uint8_t> bytesOf(const std::string& content) {
    return {content.begin(), content.end()};
}

/// A copy, because the memory may change. Empty if it cannot be mapped.
std::vector<std::uint8_t> readMemory(unsigned address, unsigned length) {
    CDeviceBios bios;
    const unsigned char* region = bios.MapPhysicalMemory(0, address, length);
    return region != nullptr ? std::vector<std::uint8_t>(region, region + length)
                             : std::vector<std::uint8_t>();
}

}  // namespace

std::optional<SmbiosTable> tableOfKernel(const std::filesystem::path& root) {
    const std::filesystem::path directory = root / "sys/firmware/dmi/tables";
    const auto entryFile = readFile(directory / "smbios_entry_point");
    const auto table = readFile(directory / "DMI");
    const auto entry = entryFile ? readSmbiosEntry(bytesOf(*entryFile)) : std::nullopt;
    if (!entry || !table) {
        return std::nullopt;
    }
    return SmbiosTable(bytesOf(*table), *entry);
}

std::optional<SmbiosTable> tableInMemory() {
    const auto entry = findSmbiosEntry(readMemory(kArea, kAreaSize));
    if (!entry || entry->address > std::numeric_limits<unsigned>::max()) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes =
        readMemory(static_cast<unsigned>(entry->address), std::min(entry->length, kLargestTable));
    return bytes.empty() ? std::nullopt : std::optional(SmbiosTable(std::move(bytes), *entry));
}

}  // namespace varnock::agent
