#pragma once

#include <pthread.h>

#include <atomic>

#include "util/Export.h"
#include "util/ThreadAnnotations.h"

namespace varnock {
class TraceQueue;
}

/// Recursive lock of one process.
///
/// A section that is filled with zeros and not constructed yet is legal: Enter() only counts and
/// Leave() does nothing, so neither blocks. The trace uses this while the process-wide objects are
/// built. A destroyed section of static lifetime behaves the same way.
///
/// Thread-safety: any thread may call any operation. REQUIRES: no thread is inside when the section
/// is destroyed, except the destroying one, whose lock is released.
class VARNOCK_EXPORT VARNOCK_LOCK CCriticalSection {
  public:
    CCriticalSection();
    ~CCriticalSection();
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    /// Takes the lock unless the caller owns it already, and counts the call.
    void Enter() VARNOCK_ACQUIRE();
    /// Undoes one Enter() of the owner; the last one releases the lock. A call by a thread that is
    /// not the owner has no effect.
    void Leave() VARNOCK_RELEASE();
    /// Releases the lock, whatever the count, if the caller owns it: the clean-up of a cancelled
    /// thread. A call by another thread has no effect, so a second armed clean-up does not release
    /// a lock that another thread holds by then.
    void CleanupHandlerForMutex();

  private:
    friend class CriticalSectionGuard;
    friend class varnock::TraceQueue;

    bool isOwner(pthread_t thread) const;
    /// True if the owner, who calls this, has entered once.
    bool isEnteredOnce() const { return count_.load(std::memory_order_relaxed) == 1; }
    /// Enter(), unless another thread is inside; `caller` is the calling thread.
    [[nodiscard]] bool tryEnter(pthread_t caller) VARNOCK_TRY_ACQUIRE(true);
    /// Enter() and Leave() for a scope, which determines the caller only once.
    pthread_t enter() VARNOCK_ACQUIRE();
    void leave(pthread_t caller) VARNOCK_RELEASE();

    pthread_mutex_t mutex_;
    std::atomic<pthread_t> owner_;           ///< 0 when free
    std::atomic<unsigned int> count_;        ///< calls of Enter() without a Leave()
    std::atomic<unsigned int> initialised_;  ///< 1 when mutex_ can be locked
};

/// pthread clean-up routine; `section` is a CCriticalSection*. See CleanupHandlerForMutex().
VARNOCK_EXPORT void CleanupHandlerForCritSecMutex(void* section);

/// Holds a critical section for a scope. The destructor also runs when a cancelled thread unwinds,
/// so it is the clean-up that a locked region needs.
///
/// Thread-safety: a guard belongs to the thread that made it.
class VARNOCK_SCOPED_LOCK CriticalSectionGuard {
  public:
    /// Enters the section; the destructor leaves it.
    explicit CriticalSectionGuard(CCriticalSection& section) VARNOCK_ACQUIRE(section)
        : section_(section), self_(section.enter()) {}
    ~CriticalSectionGuard() VARNOCK_RELEASE() { section_.leave(self_); }
    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

  private:
    CCriticalSection& section_;
    pthread_t self_;
};
