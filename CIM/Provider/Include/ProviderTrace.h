#pragma once

#include "runtime/Debug.h"
#include "runtime/TraceAt.h"

/// Every trace text of the provider layer begins with this tag.
#define VARNOCK_TRACE_TAG "\nKRM_TBL             : "

namespace varnock {

/// Prints when entries of this level are written; the format is a literal. Where an argument costs
/// something to build, ask Debug.IsOn() first. Internal, not installed.
template <typename... Arguments>
void trace(unsigned int level, const char* format, Arguments... arguments) {
    if (Debug.IsOn(level)) {
        Debug.Print(level, format, arguments...);
    }
}

}  // namespace varnock
