#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varnock {

/// Two digits for each byte, in lower case.
[[nodiscard]] std::string hexadecimalDigits(std::string_view bytes);

/// The bytes of such a text, in either case; nothing if it is something else.
[[nodiscard]] std::optional<std::string> bytesOfDigits(std::string_view digits);

}  // namespace varnock
