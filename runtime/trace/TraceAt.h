#pragma once

#include "runtime/Debug.h"

// Internal, not installed.
namespace varnock {

/// Traces at a level if that level is on. REQUIRES: `format` is a literal, and no argument for "%s"
/// is null.
template <typename... Arguments>
void traceAt(unsigned int level, const char* format, Arguments... arguments) {
    if (Debug.IsOn(level)) {
        Debug.Print(level, format, arguments...);
    }
}

}  // namespace varnock
