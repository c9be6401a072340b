#pragma once

#include <stdarg.h>

#include <cstddef>
#include <optional>

namespace varnock {

/// A faster vsnprintf for the conversions of the trace texts: c, d, i, u, x, X, p and s; the
/// numbers also with l, ll and z; the flags "-" and "0"; a width; a precision for texts. "%S" is
/// "%s". Writes the same bytes as vsnprintf, cut to size - 1 and terminated.
///
/// Returns the length, or nothing for any other format and for a null text: the caller then uses
/// vsnprintf. The argument list stays unchanged, and `text` is unspecified. REQUIRES: size > 0.
/// Internal.
[[nodiscard]] std::optional<std::size_t> formatPlain(char* text, std::size_t size,
                                                     const char* format, va_list arguments);

}  // namespace varnock
