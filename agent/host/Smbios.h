#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace varnock::agent {

/// The location of the firmware's table of structures, from its entry point.
struct SmbiosEntry {
    unsigned major;
    unsigned minor;
    std::uint64_t address;
    std::uint32_t length;  ///< of the table; in version 3 an upper limit
};

/// Reads the entry point at the beginning of the bytes: that of version 3 ("_SM3_"), of version 2
/// ("_SM_"), or of older versions ("_DMI_"). Nothing if there is none or a checksum is wrong.
std::optional<SmbiosEntry> readSmbiosEntry(std::span<const std::uint8_t> bytes);
/// Searches the firmware's area for the entry point, at every 16th byte. That of version 3 takes
/// precedence.
std::optional<SmbiosEntry> findSmbiosEntry(std::span<const std::uint8_t> area);

/// One structure of the table: fields at fixed offsets, followed by texts, which fields refer to by
/// number from 1. Old firmware has shorter structures: a field beyond the end is missing. A view
/// into its table.
class SmbiosStructure {
  public:
    SmbiosStructure(std::span<const std::uint8_t> fields, std::span<const std::uint8_t> texts)
        : fields_(fields), texts_(texts) {}

    std::uint8_t type() const { return fields_[0]; }
    std::optional<unsigned> byte(std::size_t offset) const { return number(offset, 1); }
    std::optional<unsigned> word(std::size_t offset) const { return number(offset, 2); }
    std::optional<unsigned> dword(std::size_t offset) const { return number(offset, 4); }
    /// The bytes at the offset; empty if they are incomplete.
    std::span<const std::uint8_t> bytes(std::size_t offset, std::size_t count) const;
    /// The text whose number is at the offset, without surrounding white space; nothing if it is
    /// empty.
    std::optional<std::string> text(std::size_t offset) const;

  private:
    std::optional<unsigned> number(std::size_t offset, std::size_t size) const;

    std::span<const std::uint8_t> fields_;
    std::span<const std::uint8_t> texts_;
};

/// The structures of the firmware's table, in order. Reading stops at the end mark and at a
/// truncated or malformed structure. Any bytes are safe.
class SmbiosTable {
  public:
    SmbiosTable() = default;
    SmbiosTable(std::vector<std::uint8_t> bytes, const SmbiosEntry& entry);
    SmbiosTable(SmbiosTable&&) = default;
    SmbiosTable& operator=(SmbiosTable&&) = default;

    const std::vector<SmbiosStructure>& structures() const { return structures_; }
    std::vector<SmbiosStructure> ofType(unsigned type) const;
    /// Since version 2.6 the first fields of a UUID are little-endian.
    bool hasLittleEndianUuid() const { return hasLittleEndianUuid_; }

  private:
    std::vector<std::uint8_t> bytes_;
    std::vector<SmbiosStructure> structures_;
    bool hasLittleEndianUuid_ = false;
};

}  // namespace varnock::agent
