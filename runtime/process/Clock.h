#pragma once

#include <poll.h>
#include <pthread.h>
#include <time.h>

#include <chrono>

// The seam for time: sleeping, waiting with a time limit, reading a clock.
//
// The library uses Clock::instance() alone. Tests replace it by a clock of their own, so that ten
// minutes of connection attempts pass in milliseconds. Internal, not installed.
//
// An operation is a cancellation point if its system call is one. So none is noexcept.
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
    /// The same against a deadline of the system's monotonic clock, which no jump of the calendar
    /// clock moves.
    virtual int waitMonotonicUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                   std::chrono::nanoseconds deadline);
    /// Time that only moves forward, for measuring durations.
    virtual std::chrono::nanoseconds monotonicTime() = 0;
    /// Calendar time, since the epoch.
    virtual timespec wallTime() = 0;
    /// The seconds of wallTime(); cheaper, and late by a few milliseconds at most.
    virtual time_t wallSecond() { return wallTime().tv_sec; }

    /// The clock in use. Valid before the first constructor and after the last destructor.
    static Clock& instance();
    /// Replaces the clock of the process and returns the previous one; null restores the system
    /// clock. REQUIRES: no other thread is inside the library.
    static Clock* replace(Clock* clock);
};

}  // namespace varnock
