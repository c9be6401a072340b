#pragma once

#include <poll.h>
#include <pthread.h>
#include <time.h>

#include <chrono>

// The one way to sleep, to wait with a time limit and to read a clock.
//
// The library asks Clock::instance(); tests put a clock of their own in its place, so that ten
// minutes of connection attempts pass in milliseconds. Internal, not installed.
//
// Every operation is a cancellation point where the call beneath it is one, so none is noexcept.
namespace varnock {

class Clock {
  public:
    constexpr Clock() = default;
    virtual ~Clock() = default;

    /// Sleeps for the whole duration, also when a signal arrives.
    virtual void sleepFor(std::chrono::milliseconds duration) = 0;
    /// poll(2); timeoutMs below 0 waits without limit. Interruption is left to the caller (EINTR).
    [[nodiscard]] virtual int poll(pollfd* descriptors, nfds_t count, int timeoutMs) = 0;
    /// pthread_cond_timedwait against a deadline of wallTime().
    virtual int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                          const timespec& deadline) = 0;
    /// Time that only moves forward, for measuring durations.
    virtual std::chrono::nanoseconds monotonicTime() = 0;
    /// Calendar time since the epoch.
    virtual timespec wallTime() = 0;
    /// The seconds of wallTime(); cheaper, and late by a few milliseconds at most.
    virtual time_t wallSecond() { return wallTime().tv_sec; }

    /// The clock in use. Never null, valid before any constructor has run and until the very end.
    static Clock& instance();
    /// Replaces the clock for the whole process and returns the one before; null restores the
    /// system's. REQUIRES: no other thread is inside the library.
    static Clock* replace(Clock* clock);
};

}  // namespace varnock
