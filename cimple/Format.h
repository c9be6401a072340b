#pragma once

#include <cstdarg>
#include <cstddef>

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

/// What the parts of the framework share among themselves; not installed.
namespace detail {

/// The longest text that the framework can format: a longer one ends the process there.
constexpr size_t longestText = 127;

/// Formats into `text`, as vsnprintf does. A longer text than the framework bears is cut; a debug
/// build ends the process instead, so that a test finds the caller.
void formatText(char (&text)[longestText + 1], const char* format, va_list args);

}  // namespace detail

CIMPLE_NAMESPACE_END
