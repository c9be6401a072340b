#include "cli/Watchdog.h"

#include <utility>

namespace varnockctl {

Watchdog::Watchdog(std::chrono::milliseconds limit, std::function<void()> expired)
    : thread_([this, limit, expired = std::move(expired)] {
          varnock::ScopedLock lock(mutex_);
          if (!ended_.wait_for(lock, limit, [this]() VARNOCK_REQUIRES(mutex_) { return done_; })) {
              lock.unlock();
              expired();
          }
      }) {}

Watchdog::~Watchdog() {
    {
        const varnock::ScopedLock lock(mutex_);
        done_ = true;
    }
    ended_.notify_one();
    thread_.join();
}

}  // namespace varnockctl
