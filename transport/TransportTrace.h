#pragma once

#include <pthread.h>

#include "runtime/Debug.h"
#include "runtime/ThreadNumber.h"

/// Internal, not installed.
namespace varnock {

/// Traces when entries of this level are written.
template <typename... Arguments>
void trace(unsigned int level, const char* format, Arguments... arguments) {
    if (Debug.IsOn(level)) {
        Debug.Print(level, format, arguments...);
    }
}

/// Traces what must be seen whatever the level.
template <typename... Arguments>
void traceAlways(const char* format, Arguments... arguments) {
    Debug.PrintAlways(0, format, arguments...);
}

/// The calling thread as trace texts show it.
inline unsigned int threadNumber() {
    return threadNumber(pthread_self());
}

}  // namespace varnock
