#include "tools/Number.h"

#include <charconv>
#include <system_error>

namespace varnock {

std::optional<std::uint32_t> parseNumber(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* end = text.data() + text.size();
    std::uint32_t value = 0;
    const auto parsed =
        std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, value, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc{} || parsed.ptr != end) {
        return std::nullopt;
    }
    return value;
}

}  // namespace varnock
