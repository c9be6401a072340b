#pragma once

#include <stdarg.h>

#include <cstddef>

namespace varnock {

/// vsnprintf as the trace means it: the conversion "%S" takes plain characters, as "%s" does, and
/// newlines at the start of the format are dropped unless there is nothing else. Returns the number
/// of characters written, below `size`; a format that vsnprintf refuses gives an empty text.
/// Throws std::bad_alloc for a long format that has to be rewritten. Internal.
std::size_t formatTraceText(char* text, std::size_t size, const char* format, va_list arguments);

}  // namespace varnock
