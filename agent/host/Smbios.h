#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace varnock::agent {

/// Where the firmware's table of structures lies, as its entry point says.
struct SmbiosEntry {
    unsigned major;
    unsigned minor;
    std::uint64_t address;
    std::uint32_t length;  ///< of the table; version 3 says only that it is not longer
};

/// Reads the entry point at the beginning of the bytes: that of version 3 ("_SM3_"), of version 2
/// ("_SM_"), or of before ("_DMI_"). Nothing when it is none or a checksum is wrong.
std::optional<SmbiosEntry> readSmbiosEntry(std::span<const std::uint8_t> bytes);
/// Looks for the entry point in the firmware's area, at every 16th byte. That of version 3 comes
/// first.
std::optional<SmbiosEntry> findSmbiosEntry(std::span<const std::uint8_t> area);

/// One structure of the table: fields at fixed offsets, and texts behind them that fields count
/// from 1. Firmware is as old as it likes: a field beyond the end of its structure is not there.
/// A view into its table.
class SmbiosStructure {
  public:
    SmbiosStructure(std::span<const std::uint8_t> fields, std::span<const std::uint8_t> texts)
        : fields_(fields), texts_(texts) {}

    std::uint8_t type() const { return fields_[0]; }
    std::optional<unsigned> byte(std::size_t offset) const { return number(offset, 1); }
    std::optional<unsigned> word(std::size_t offset) const { return number(offset, 2); }
    std::optional<unsigned> dword(std::size_t offset) const { return number(offset, 4); }
    /// The bytes at the offset; empty when they are not all there.
    std::span<const std::uint8_t> bytes(std::size_t offset, std::size_t count) const;
    /// The text whose number stands at the offset, without the white space around it; nothing when
    /// it is empty.
    std::optional<std::string> text(std::size_t offset) const;

  private:
    std::optional<unsigned> number(std::size_t offset, std::size_t size) const;

    std::span<const std::uint8_t> fields_;
    std::span<const std::uint8_t> texts_;
};

/// The firmware's table, in its order. What follows its end mark, or a structure that is cut off or
/// broken, is not read. Any bytes are safe.
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
