#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <thread>

#include "util/Mutex.h"

namespace varnockctl {

/// Calls a function on its own thread when the time limit expires, unless it is destroyed before.
class Watchdog {
  public:
    Watchdog(std::chrono::milliseconds limit, std::function<void()> expired);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

  private:
    varnock::Mutex mutex_;
    std::condition_variable_any ended_;
    bool done_ VARNOCK_GUARDED_BY(mutex_) = false;
    std::thread thread_;
};

}  // namespace varnockctl
