#pragma once

#include <pthread.h>

#include "util/Export.h"

/// Interlocked counters.
///
/// All counters of the process share one mutex instead of atomic instructions. While a caller holds
/// IncDecMutex(), no counter changes.
///
/// Thread-safety: any thread may call any operation, during the whole life of the process.
class VARNOCK_EXPORT CInterLock {
  public:
    /// Adds 1 to `*value` and returns the new value, which wraps at the limits of long. Null
    /// gives 0.
    static long LockedIncrement(long* value);
    /// Subtracts 1 from `*value` and returns the new value, which wraps at the limits of long. Null
    /// gives 0.
    static long LockedDecrement(long* value);
    /// The mutex of all counters. It is not recursive: unlock it before the two calls above, and
    /// before a fork(), which takes it. It comes before the locks of registry, events and trace: a
    /// thread that holds CRegistry::MSpinlock or CEvent::Spinlock must not use a counter.
    static pthread_mutex_t* IncDecMutex();

  private:
    static pthread_mutex_t incDecMutex_;
};
