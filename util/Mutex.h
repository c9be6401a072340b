#pragma once

#include <pthread.h>

#include "util/ThreadAnnotations.h"

namespace varnock {

/// A mutex that clang's thread-safety analysis knows, which the standard library's is not: what it
/// guards can be marked with VARNOCK_GUARDED_BY. Its destructor does nothing, so that one of static
/// lifetime serves the threads that run while the process ends.
///
/// Thread-safety: any thread may call any operation; the one that locked, unlocks.
class VARNOCK_LOCK Mutex {
  public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// False when the system refuses, which it does only to a mutex that has been overwritten.
    bool lock() VARNOCK_ACQUIRE() { return pthread_mutex_lock(&mutex_) == 0; }
    /// True when the mutex was free, and now is the caller's.
    [[nodiscard]] bool try_lock() VARNOCK_TRY_ACQUIRE(true) {
        return pthread_mutex_trylock(&mutex_) == 0;
    }
    void unlock() VARNOCK_RELEASE() { pthread_mutex_unlock(&mutex_); }

    /// Makes a free mutex of one that a vanished thread holds. REQUIRES: no other thread uses it.
    void renew() { mutex_ = PTHREAD_MUTEX_INITIALIZER; }

    /// Destroys the mutex and makes a new one at the same address. Only a sanitizer needs this: it
    /// would otherwise take both for one mutex. REQUIRES: no thread holds it.
    void startAnew() {
        pthread_mutex_destroy(&mutex_);
        renew();
    }

    /// The next mutex of the one list that this mutex may be in, so that adding it needs no memory.
    Mutex*& next() { return next_; }

  private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    Mutex* next_ = nullptr;
};

/// Holds a mutex for a scope, also when a cancelled thread unwinds. A std::condition_variable_any
/// can wait with it.
///
/// Thread-safety: a lock belongs to the thread that made it.
class VARNOCK_SCOPED_LOCK ScopedLock {
  public:
    explicit ScopedLock(Mutex& mutex) VARNOCK_ACQUIRE(mutex) : mutex_(mutex), owns_(mutex.lock()) {}
    ~ScopedLock() VARNOCK_RELEASE() {
        if (owns_) {
            mutex_.unlock();
        }
    }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

    /// False when locking failed, or after unlock().
    bool owns() const { return owns_; }

    void lock() VARNOCK_ACQUIRE() { owns_ = mutex_.lock(); }
    void unlock() VARNOCK_RELEASE() {
        owns_ = false;
        mutex_.unlock();
    }

  private:
    Mutex& mutex_;
    bool owns_;
};

}  // namespace varnock
