#include "agent/host/Smbios.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

using ByteSpan = std::span<const std::uint8_t>;

constexpr std::size_t kParagraph = 16;
constexpr std::size_t kEntry3Size = 0x18;
constexpr std::size_t kEntry2Size = 0x1E;  ///< in some firmware, one less than in the standard
constexpr std::size_t kEntryDmiSize = 0x0F;
constexpr std::size_t kStructureHeaderSize = 4;
constexpr std::uint8_t kEndOfTable = 127;

bool beginsWith(ByteSpan bytes, std::string_view anchor) {
    return bytes.size() >= anchor.size() &&
           std::equal(anchor.begin(), anchor.end(), bytes.begin(), [](char c, std::uint8_t byte) {
               return static_cast<std::uint8_t>(c) == byte;
           });
}

/// Whether a block with a checksum has this length and its bytes add up to 0.
bool isSound(ByteSpan bytes, std::size_t size) {
    return size <= bytes.size() &&
           std::accumulate(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size), 0U) %
                   256 ==
               0;
}

std::uint64_t littleEndian(ByteSpan bytes) {
    std::uint64_t number = 0;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
        number = number << 8 | *byte;
    }
    return number;
}

std::optional<SmbiosEntry> readEntry3(ByteSpan bytes) {
    if (!beginsWith(bytes, "_SM3_") || bytes.size() < kEntry3Size || bytes[6] < kEntry3Size ||
        !isSound(bytes, bytes[6])) {
        return std::nullopt;
    }
    return SmbiosEntry{bytes[7], bytes[8], littleEndian(bytes.subspan(0x10, 8)),
                       static_cast<std::uint32_t>(littleEndian(bytes.subspan(0x0C, 4)))};
}

/// The entry point of versions before 2, which that of version 2 contains.
std::optional<SmbiosEntry> readEntryDmi(ByteSpan bytes) {
    if (!beginsWith(bytes, "_DMI_") || !isSound(bytes, kEntryDmiSize)) {
        return std::nullopt;
    }
    const unsigned version = bytes[0x0E];
    return SmbiosEntry{version >> 4, version & 0x0F, littleEndian(bytes.subspan(8, 4)),
                       static_cast<std::uint32_t>(littleEndian(bytes.subspan(6, 2)))};
}

std::optional<SmbiosEntry> readEntry2(ByteSpan bytes) {
    if (!beginsWith(bytes, "_SM_") || bytes.size() < kEntry2Size || bytes[5] < kEntry2Size ||
        !isSound(bytes, bytes[5])) {
        return std::nullopt;
    }
    auto entry = readEntryDmi(bytes.subspan(0x10));
    if (entry) {
        entry->major = bytes[6];
        entry->minor = bytes[7];
    }
    return entry;
}

/// The texts after the fields, up to the empty one that ends them; nothing if that is missing.
std::optional<ByteSpan> textsAt(ByteSpan bytes) {
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == 0 && bytes[i + 1] == 0) {
            return bytes.first(i + 2);
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<SmbiosEntry> readSmbiosEntry(ByteSpan bytes) {
    for (const auto read : {readEntry3, readEntry2, readEntryDmi}) {
        if (auto entry = read(bytes)) {
            return entry;
        }
    }
    return std::nullopt;
}

std::optional<SmbiosEntry> findSmbiosEntry(ByteSpan area) {
    for (const auto read : {readEntry3, readEntry2, readEntryDmi}) {
        for (std::size_t at = 0; at < area.size(); at += kParagraph) {
            if (auto entry = read(area.subspan(at))) {
                return entry;
            }
        }
    }
    return std::nullopt;
}

std::optional<unsigned> SmbiosStructure::number(std::size_t offset, std::size_t size) const {
    const ByteSpan found = bytes(offset, size);
    return found.empty() ? std::nullopt : std::optional(static_cast<unsigned>(littleEndian(found)));
}

ByteSpan SmbiosStructure::bytes(std::size_t offset, std::size_t count) const {
    return offset <= fields_.size() && count <= fields_.size() - offset
               ? fields_.subspan(offset, count)
               : ByteSpan();
}

std::optional<std::string> SmbiosStructure::text(std::size_t offset) const {
    const unsigned wanted = byte(offset).value_or(0);
    auto begin = texts_.begin();
    for (unsigned n = 1; n <= wanted && begin != texts_.end(); ++n) {
        const auto end = std::find(begin, texts_.end(), 0);
        if (begin == end) {
            break;
        }
        if (n == wanted) {
            std::string found = trimmed(std::string(begin, end));
            return found.empty() ? std::nullopt : std::optional(std::move(found));
        }
        begin = end == texts_.end() ? end : end + 1;
    }
    return std::nullopt;
}

SmbiosTable::SmbiosTable(std::vector<std::uint8_t> bytes, const SmbiosEntry& entry)
    : bytes_(std::move(bytes)),
      hasLittleEndianUuid_(std::pair(entry.major, entry.minor) >= std::pair(2U, 6U)) {
    ByteSpan rest(bytes_);
    while (rest.size() >= kStructureHeaderSize && rest[1] >= kStructureHeaderSize &&
           rest[1] <= rest.size()) {
        const ByteSpan fields = rest.first(rest[1]);
        const auto texts = textsAt(rest.subspan(fields.size()));
        if (!texts || fields[0] == kEndOfTable) {
            break;
        }
        structures_.emplace_back(fields, *texts);
        rest = rest.subspan(fields.size() + texts->size());
    }
}

std::vector<SmbiosStructure> SmbiosTable::ofType(unsigned type) const {
    std::vector<SmbiosStructure> found;
    std::copy_if(structures_.begin(), structures_.end(), std::back_inserter(found),
                 [type](const SmbiosStructure& structure) { return structure.type() == type; });
    return found;
}

}  // namespace varnock::agent
