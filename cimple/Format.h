#pragma once

#include <cstdarg>
#include <cstddef>

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

/// Internal to the framework; not installed.
namespace detail {

/// The longest text that the real framework can format: a longer one ends the process.
constexpr size_t longestText = 127;

/// Formats into `text`, like vsnprintf. A text too long for the framework is truncated; a debug
/// build ends the process instead, so that a test finds the caller.
void formatText(char (&text)[longestText + 1], const char* format, va_list args);

}  // namespace detail

CIMPLE_NAMESPACE_END
