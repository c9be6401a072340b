#pragma once

#include <pthread.h>

#include "runtime/Debug.h"
#include "runtime/threads/ThreadNumber.h"
#include "runtime/trace/TraceAt.h"

/// Internal, not installed.
namespace varnock {

/// Traces regardless of the level.
template <typename... Arguments>
void traceAlways(const char* format, Arguments... arguments) {
    Debug.PrintAlways(0, format, arguments...);
}

/// The calling thread as trace texts show it.
inline unsigned int threadNumber() {
    return threadNumber(pthread_self());
}

}  // namespace varnock
