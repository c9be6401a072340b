#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnock {

/// Parses a whole text as a number: decimal, or hexadecimal after 0x. Nothing if it is not a number
/// or above 4294967295.
[[nodiscard]] std::optional<std::uint32_t> parseNumber(std::string_view text);

}  // namespace varnock
