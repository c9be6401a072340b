#include "cli/Watchdog.h"

#include <utility>

namespace varnockctl {

Watchdog::Watchdog(std::chrono::milliseconds limit, std::function<void()> expired)
    : thread_([this, limit, expired = std::move(expired)] {
          std::unique_lock lock(mutex_);
          if (!ended_.wait_for(lock, limit, [this] { return done_; })) {
              lock.unlock();
              expired();
          }
      }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mutex_);
        done_ = true;
    }
    ended_.notify_one();
    thread_.join();
}

}  // namespace varnockctl
