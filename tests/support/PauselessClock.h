#pragma once

#include "runtime/process/Clock.h"

namespace varnock::test {

/// The system's clock without its sleeps: they return at once, and so do polls with a limit that
/// wait for no descriptor but that of a stop. Allocates nothing. Active from construction to
/// destruction.
class PauselessClock : public Clock {
  public:
    PauselessClock() : before_(replace(this)) {}
    ~PauselessClock() override { replace(before_); }
    PauselessClock(const PauselessClock&) = delete;
    PauselessClock& operator=(const PauselessClock&) = delete;

    void sleepFor(std::chrono::milliseconds) override {}
    int poll(pollfd* descriptors, nfds_t count, int timeoutMs) override {
        const bool isPause = count > 0 && descriptors[0].fd < 0 && timeoutMs > 0;
        return before_->poll(descriptors, count, isPause ? 0 : timeoutMs);
    }
    int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                  const timespec& deadline) override {
        return before_->waitUntil(condition, mutex, deadline);
    }
    std::chrono::nanoseconds monotonicTime() override { return before_->monotonicTime(); }
    timespec wallTime() override { return before_->wallTime(); }

  private:
    Clock* before_;
};

}  // namespace varnock::test
