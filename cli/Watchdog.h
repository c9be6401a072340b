#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace varnockctl {

/// Calls a function when its time is up, on a thread of its own, unless it is destroyed before.
class Watchdog {
  public:
    Watchdog(std::chrono::milliseconds limit, std::function<void()> expired);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

  private:
    std::mutex mutex_;
    std::condition_variable ended_;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace varnockctl
