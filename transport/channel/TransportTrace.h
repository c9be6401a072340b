#pragma once

#include <pthread.h>

#include <new>

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

/// Runs a trace call whose arguments need memory. Without memory the line is lost.
template <typename Trace>
void traceIfPossible(const Trace& trace) {
    try {
        trace();
    } catch (const std::bad_alloc&) {
        // What the line reports has been done all the same.
    }
}

/// The calling thread as trace texts show it.
inline unsigned int threadNumber() {
    return threadNumber(pthread_self());
}

}  // namespace varnock
