#pragma once

#include "runtime/process/Clock.h"

namespace varnock::test {

/// A wall clock stopped at a time chosen by the test; all else is unchanged. Active from
/// construction to destruction; owned by one thread.
class FixedClock final : public Clock {
  public:
    explicit FixedClock(time_t now) : now_(now), before_(replace(this)) {}
    ~FixedClock() override { replace(before_); }
    FixedClock(const FixedClock&) = delete;
    FixedClock& operator=(const FixedClock&) = delete;

    void set(time_t now) { now_ = now; }

    void sleepFor(std::chrono::milliseconds duration) override { before_->sleepFor(duration); }
    int poll(pollfd* descriptors, nfds_t count, int timeoutMs) override {
        return before_->poll(descriptors, count, timeoutMs);
    }
    int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                  const timespec& deadline) override {
        return before_->waitUntil(condition, mutex, deadline);
    }
    std::chrono::nanoseconds monotonicTime() override { return before_->monotonicTime(); }
    timespec wallTime() override { return {now_, 0}; }

  private:
    time_t now_;
    Clock* before_;
};

}  // namespace varnock::test
