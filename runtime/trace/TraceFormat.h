#pragma once

#include <stdarg.h>

#include <cstddef>

namespace varnock {

/// vsnprintf with the rules of the trace. The conversion "%S" takes plain characters, as "%s" does.
/// Newlines at the start of the format are dropped, unless it consists of newlines. Returns the
/// number of characters written, below `size`. If vsnprintf fails, the text is empty. Throws
/// std::bad_alloc if a format with "%S" cannot be copied. Internal.
std::size_t formatTraceText(char* text, std::size_t size, const char* format, va_list arguments);

}  // namespace varnock
