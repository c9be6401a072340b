#pragma once

#include <functional>
#include <utility>

#include "runtime/process/Clock.h"

namespace varnock::test {

/// A clock that runs a step during each sleep. The time stands still. In use from construction to
/// destruction.
class EventfulClock final : public Clock {
  public:
    explicit EventfulClock(std::function<void()> event) : event_(std::move(event)) {
        replace(this);
    }
    ~EventfulClock() override { replace(nullptr); }
    EventfulClock(const EventfulClock&) = delete;
    EventfulClock& operator=(const EventfulClock&) = delete;

    void sleepFor(std::chrono::milliseconds) override { event_(); }
    int poll(pollfd*, nfds_t, int) override { return 0; }
    int waitUntil(pthread_cond_t*, pthread_mutex_t*, const timespec&) override { return 0; }
    std::chrono::nanoseconds monotonicTime() override { return {}; }
    timespec wallTime() override { return {}; }

  private:
    std::function<void()> event_;
};

}  // namespace varnock::test
