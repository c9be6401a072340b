#pragma once

#include <pthread.h>

#include "runtime/SyncWrappers.h"

// Internal, not installed.
namespace varnock {

/// Holds a pthread mutex for a scope. Unlocks it also when a cancelled thread unwinds, but not if
/// the lock failed. Thread-safety: a guard belongs to the thread that made it.
class MutexGuard {
  public:
    explicit MutexGuard(pthread_mutex_t& mutex) : mutex_(mutex), owns_(MutexLock(&mutex) == 0) {}
    ~MutexGuard() { unlock(); }
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

    [[nodiscard]] bool owns() const { return owns_; }

    void unlock() {
        if (owns_) {
            MutexUnlock(&mutex_);
        }
        owns_ = false;
    }
    /// Leaves the mutex locked; another owner unlocks it, or adopt() takes it back.
    void release() { owns_ = false; }
    void adopt() { owns_ = true; }

  private:
    pthread_mutex_t& mutex_;
    bool owns_;
};

}  // namespace varnock
