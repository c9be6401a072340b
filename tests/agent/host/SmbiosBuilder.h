#pragma once

#include <cstdint>
#include <initializer_list>
#include <numeric>
#include <string>
#include <vector>

namespace varnock::agent {

using SmbiosBytes = std::vector<std::uint8_t>;

/// Builds a firmware table and its entry points byte by byte.
class SmbiosBuilder {
  public:
    /// A structure with zeros up to `length`; fields are then set by their offsets.
    class Structure {
      public:
        Structure(std::uint8_t type, std::uint8_t length) : fields_(length) {
            fields_[0] = type;
            fields_[1] = length;
        }
        Structure& byte(std::size_t offset, unsigned value) { return number(offset, value, 1); }
        Structure& word(std::size_t offset, unsigned value) { return number(offset, value, 2); }
        Structure& dword(std::size_t offset, unsigned value) { return number(offset, value, 4); }
        /// Adds a text, and its number at the offset.
        Structure& text(std::size_t offset, const std::string& value) {
            texts_.push_back(value);
            return byte(offset, static_cast<unsigned>(texts_.size()));
        }

      private:
        friend class SmbiosBuilder;
        Structure& number(std::size_t offset, unsigned value, std::size_t size) {
            for (std::size_t i = 0; i < size; ++i) {
                fields_.at(offset + i) = static_cast<std::uint8_t>(value >> 8 * i);
            }
            return *this;
        }

        SmbiosBytes fields_;
        std::vector<std::string> texts_;
    };

    SmbiosBuilder& add(const Structure& structure) {
        bytes_.insert(bytes_.end(), structure.fields_.begin(), structure.fields_.end());
        for (const std::string& text : structure.texts_) {
            bytes_.insert(bytes_.end(), text.begin(), text.end());
            bytes_.push_back(0);
        }
        bytes_.insert(bytes_.end(), structure.texts_.empty() ? 2 : 1, 0);
        return *this;
    }

    /// The structures so far and the end mark.
    SmbiosBytes table() const {
        SmbiosBuilder whole(*this);
        return whole.add(Structure(127, 4)).bytes_;
    }

    static SmbiosBytes entry3(std::uint64_t address, std::uint32_t limit) {
        SmbiosBytes entry(24);
        put(entry, 0, {'_', 'S', 'M', '3', '_', 0, 24, 3, 4});
        putNumber(entry, 12, limit, 4);
        putNumber(entry, 16, address, 8);
        return sound(entry, 0, 5, 24);
    }
    static SmbiosBytes entry2(std::uint32_t address, std::uint16_t length, std::uint8_t minor = 8) {
        SmbiosBytes entry(31);
        put(entry, 0, {'_', 'S', 'M', '_', 0, 31, 2, minor});
        put(entry, 16, {'_', 'D', 'M', 'I', '_'});
        putNumber(entry, 22, length, 2);
        putNumber(entry, 24, address, 4);
        entry[30] = static_cast<std::uint8_t>(0x20 | minor);
        return sound(sound(entry, 16, 21, 15), 0, 4, 31);
    }

    /// Sets the checksum byte at `place`, so that `size` bytes from `begin` on add up to 0.
    static SmbiosBytes sound(SmbiosBytes bytes, std::size_t begin, std::size_t place,
                             std::size_t size) {
        bytes[place] = 0;
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
        const unsigned sum = std::accumulate(first, first + static_cast<std::ptrdiff_t>(size), 0U);
        bytes[place] = static_cast<std::uint8_t>(256 - sum % 256);
        return bytes;
    }

  private:
    static void put(SmbiosBytes& bytes, std::size_t at,
                    std::initializer_list<std::uint8_t> values) {
        std::copy(values.begin(), values.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    }
    static void putNumber(SmbiosBytes& bytes, std::size_t at, std::uint64_t value,
                          std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
        }
    }

    SmbiosBytes bytes_;
};

/// A machine of two sockets, of which one has a processor, with two boards and two of three memory
/// sockets filled.
inline SmbiosBuilder typicalFirmware() {
    using S = SmbiosBuilder::Structure;
    SmbiosBuilder firmware;
    firmware.add(S(0, 0x18).text(4, "Firmware House").text(5, "F 1.2"));
    S system(1, 0x1B);
    system.text(4, "Maker & Co").text(5, "Server 9").text(6, "V2").text(7, "SN-4711");
    for (unsigned i = 0; i < 16; ++i) {
        system.byte(8 + i, i * 0x11);
    }
    firmware.add(system.text(0x19, "SKU-1"));
    firmware.add(S(2, 0x0F)
                     .text(4, "Board House")
                     .text(5, "Board 5")
                     .text(6, "B2")
                     .text(7, "B-1")
                     .text(8, "BT")
                     .text(0x0A, "Bay 3")
                     .byte(0x0D, 0x0A));
    firmware.add(S(2, 0x08).text(4, "Riser House").text(5, "Riser"));
    firmware.add(S(3, 0x1C)
                     .text(4, "Case House")
                     .byte(5, 0x97)
                     .text(6, "C2")
                     .text(7, "C-1")
                     .text(8, "Tag 12")
                     .byte(0x13, 2)
                     .byte(0x14, 3)
                     .text(0x15 + 6, "CSKU"));
    firmware.add(S(4, 0x30).text(4, "CPU 1").byte(5, 3).byte(0x18, 0x00));
    firmware.add(S(4, 0x30)
                     .text(4, "CPU 2")
                     .byte(5, 3)
                     .text(7, "Chip House")
                     .text(0x10, "Chip 3000")
                     .byte(0x18, 0x41)
                     .text(0x20, "P-1")
                     .text(0x21, "PT")
                     .text(0x22, "PP-1"));
    firmware.add(S(4, 0x30).text(4, "Maths").byte(5, 4).byte(0x18, 0x41));
    firmware.add(S(17, 0x54)
                     .word(0x0C, 0x7FFF)
                     .byte(0x0E, 9)
                     .text(0x10, "DIMM A1")
                     .byte(0x12, 0x1A)
                     .word(0x15, 3200)
                     .text(0x17, "Memory House")
                     .text(0x18, "M-1")
                     .text(0x19, "MT")
                     .text(0x1A, "MP-1  ")
                     .dword(0x1C, 65536)
                     .word(0x20, 2933)
                     .word(0x26, 1200));
    firmware.add(S(17, 0x54).text(0x10, "DIMM A2").text(0x17, "NO DIMM"));
    firmware.add(S(17, 0x1B).word(0x0C, 512).byte(0x0E, 2).text(0x10, "DIMM B1").byte(0x12, 2));
    return firmware;
}

}  // namespace varnock::agent
