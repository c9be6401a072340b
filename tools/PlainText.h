#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace varnock {

/// Not 0 if a byte of the word is 0.
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
    return (word - 0x0101'0101'0101'0101) & ~word & 0x8080'8080'8080'8080;
}

/// The number of characters at the beginning of a text that are ASCII from the blank to '~' and not
/// one of these. Eight are compared at a time: most texts have no others.
template <char... special>
std::size_t plainLength(std::string_view text) {
    constexpr std::size_t kStep = sizeof(std::uint64_t);
    const auto isPlainWord = [](const char* bytes) {
        constexpr std::uint64_t kEach = 0x0101'0101'0101'0101;
        constexpr std::uint64_t kHighBits = 0x8080'8080'8080'8080;
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        const std::uint64_t belowBlank = (word - kEach * ' ') & ~word & kHighBits;
        const std::uint64_t others = (zeroBytes(word ^ kEach * '\x7F') | ... |
                                      zeroBytes(word ^ kEach * std::uint64_t{special}));
        return (belowBlank | others | (word & kHighBits)) == 0;
    };
    std::size_t length = 0;
    while (length + kStep <= text.size() && isPlainWord(text.data() + length)) {
        length += kStep;
    }
    // The last word may contain bytes that have been compared already.
    if (length + kStep > text.size() && length > 0 &&
        isPlainWord(text.data() + text.size() - kStep)) {
        return text.size();
    }
    const auto isPlain = [](char c) { return c >= ' ' && c <= '~' && ((c != special) && ...); };
    while (length < text.size() && isPlain(text[length])) {
        ++length;
    }
    return length;
}

}  // namespace varnock
