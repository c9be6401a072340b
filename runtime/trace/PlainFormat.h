#pragma once

#include <stdarg.h>

#include <cstddef>

namespace varnock {

/// A faster vsnprintf for the conversions of the trace texts: c, d, i, u, x, X, p and s; the
/// numbers also with l, ll and z; the flags "-" and "0"; a width; a precision for texts. "%S" is
/// "%s". Writes the same bytes as vsnprintf, cut to size - 1 and terminated.
///
/// Returns the end of the text, or null for any other format and for a null text: the caller then
/// uses vsnprintf, with a copy of the argument list. The list is used up either way, and without a
/// result `text` is unspecified. REQUIRES: size > 0. Internal.
[[nodiscard]] char* formatPlain(char* text, std::size_t size, const char* format,
                                va_list arguments);

}  // namespace varnock
