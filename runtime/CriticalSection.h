#pragma once

#include <pthread.h>

#include <atomic>

#include "util/Export.h"

/// Recursive lock of one process.
///
/// A section that is filled with zeros and not constructed yet is legal: Enter() counts and Leave()
/// does nothing, and neither blocks. The trace uses this while the process-wide objects are built.
/// A destroyed section behaves the same way.
///
/// Thread-safety: any thread may call any operation. REQUIRES: no thread is inside when the section
/// is destroyed, except the destroying one.
class VARNOCK_EXPORT CCriticalSection {
  public:
    CCriticalSection();
    ~CCriticalSection();
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    /// Takes the lock unless the caller owns it already, and counts the call.
    void Enter();
    /// Undoes one Enter() of the owner; the last one releases the lock. A call by a thread that is
    /// not the owner has no effect.
    void Leave();
    /// Releases the lock whatever the count is, if the caller owns it. Thread-cancellation clean-up.
    void CleanupHandlerForMutex();

  private:
    pthread_mutex_t mutex_;
    std::atomic<pthread_t> owner_;
    unsigned int count_;
    unsigned int initialised_;
};

/// pthread clean-up routine; `section` is a CCriticalSection*.
VARNOCK_EXPORT void CleanupHandlerForCritSecMutex(void* section);

/// Holds a critical section for a scope. The destructor runs when a cancelled thread unwinds too,
/// so it is the clean-up that every locked region needs.
class CriticalSectionGuard {
  public:
    explicit CriticalSectionGuard(CCriticalSection& section) : section_(section) {
        section_.Enter();
    }
    ~CriticalSectionGuard() { section_.Leave(); }
    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

  private:
    CCriticalSection& section_;
};
