#include "tools/Hexadecimal.h"

#include "tools/CharacterClass.h"

namespace varnock {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

}  // namespace

std::string hexadecimalDigits(std::string_view bytes) {
    std::string digits;
    digits.reserve(2 * bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        digits += kDigits[value >> 4];
        digits += kDigits[value & 0x0F];
    }
    return digits;
}

std::optional<std::string> bytesOfDigits(std::string_view digits) {
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const std::size_t high = kDigits.find(lowerCase(digits[i]));
        const std::size_t low = kDigits.find(lowerCase(digits[i + 1]));
        if (high == std::string_view::npos || low == std::string_view::npos) {
            return std::nullopt;
        }
        bytes += static_cast<char>(high << 4 | low);
    }
    return bytes;
}

}  // namespace varnock
