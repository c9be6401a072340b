#pragma once

#include <cstddef>
#include <cstdint>

// Numbers as characters. Every entry writes several of them. Each function computes all digits at
// the same time, in the bytes of one word, and so has neither loops nor branches. Internal.
namespace varnock {

/// Eight characters, the first one in the lowest byte, as a store leaves them in memory.
using EightCharacters = std::uint64_t;

inline constexpr EightCharacters kEightZeros = 0x3030'3030'3030'3030;

/// The last eight decimal digits. Splits halves, pairs and digits, with a multiplication instead of
/// each division.
constexpr EightCharacters eightDigits(std::uint32_t value) {
    value %= 100'000'000;
    const std::uint64_t halves = value / 10'000 | std::uint64_t{value % 10'000} << 32;
    const std::uint64_t hundreds = (halves * 10'486 >> 20) & 0x7F'0000'007F;
    const std::uint64_t pairs = hundreds | (halves - hundreds * 100) << 16;
    const std::uint64_t tens = (pairs * 103 >> 10) & 0x000F'000F'000F'000F;
    return (tens | (pairs - tens * 10) << 8) + kEightZeros;
}

/// The eight hexadecimal digits; `ten` is the digit for ten, 'a' or 'A'. Splits halves, bytes and
/// digits.
constexpr EightCharacters eightHexDigits(std::uint32_t value, char ten) {
    const std::uint64_t halves = value >> 16 | std::uint64_t{value & 0xFFFF} << 32;
    const std::uint64_t bytes =
        (halves >> 8 & 0x0000'00FF'0000'00FF) | (halves & 0x0000'00FF'0000'00FF) << 16;
    const std::uint64_t digits =
        (bytes >> 4 & 0x000F'000F'000F'000F) | (bytes & 0x000F'000F'000F'000F) << 8;
    // Adding 6 carries into the upper half of the byte if the digit is above 9.
    const std::uint64_t letters = (digits + 0x0606'0606'0606'0606) >> 4 & 0x0101'0101'0101'0101;
    return digits + kEightZeros + letters * static_cast<std::uint64_t>(ten - '0' - 10);
}

}  // namespace varnock
