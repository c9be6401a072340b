#pragma once

#include <stdarg.h>

#include <cstddef>
#include <optional>

namespace varnock {

/// vsnprintf for the conversions that trace texts are made of, at a fraction of its cost: c, d, i,
/// u, x, X, p and s without a length modifier, the numbers also with l, ll and z; with the flags
/// "-" and "0", a width, and for texts a precision. "%S" is "%s". Writes the same bytes as
/// vsnprintf, cut to size - 1 and terminated.
///
/// Returns the length; nothing for any other format and for a null text, which are vsnprintf's own,
/// with the argument list as it was and anything in `text`. REQUIRES: size > 0. Internal.
[[nodiscard]] std::optional<std::size_t> formatPlain(char* text, std::size_t size,
                                                     const char* format, va_list arguments);

}  // namespace varnock
