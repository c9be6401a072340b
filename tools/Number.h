#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnock {

/// The number that a text is from its first to its last character: decimal, or hexadecimal behind
/// 0x. Nothing when it is none, or above 4294967295.
std::optional<std::uint32_t> parseNumber(std::string_view text);

}  // namespace varnock
