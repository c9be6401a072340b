#pragma once

#include <semaphore.h>

#include <atomic>
#include <memory>

#include "runtime/Event.h"
#include "util/Export.h"
#include "util/StrMap.h"
#include "util/ThreadAnnotations.h"

/// Counting semaphore, shared by name inside the process.
///
///     CSemaphore slots;
///     slots.Create(4, 4, "slots");
///     if (slots.Wait(0xFFFFFFFF) == 0) { ...; slots.Release(1); }
///
/// The maximum count matters only to Create(): Release() may raise the value above it.
///
/// Thread-safety: any thread may call any operation, but Create() and Delete() of one object are
/// for one thread. REQUIRES: no thread waits when the last reference is given back.
class VARNOCK_EXPORT CSemaphore {
  public:
    /// The state that the objects of one name share.
    struct sysSemaphore_t {
        sem_t semaphore;
        unsigned int refCount;         ///< guarded by CEvent::Spinlock
        std::unique_ptr<char[]> name;  ///< null when unnamed; constant
    };

    /// Refers to nothing: Create() first.
    CSemaphore();
    /// Delete(), if the object refers to a semaphore.
    ~CSemaphore();
    CSemaphore(const CSemaphore&) = delete;
    CSemaphore& operator=(const CSemaphore&) = delete;

    /// Refers to the semaphore of this name, or makes a new one whose value is the smaller of both
    /// counts; a null name always makes a new one. 1, or 0 for a negative count, a maximum above
    /// SEM_VALUE_MAX or lack of memory.
    ///
    /// The object first deletes the semaphore that it refers to; if other objects refer to it too,
    /// that fails and so does Create(). If the name exists, the old reference is not given back,
    /// and the counts are not used. `attributes` is not used.
    int Create(long initialCount, long maximumCount, const char* name, void* attributes = nullptr);
    /// Raises the value by `count`. 1, or 0 without semaphore, for a count below 1 or above
    /// SEM_VALUE_MAX, or when the value reaches SEM_VALUE_MAX on the way.
    int Release(long count);
    /// 0xFFFFFFFF: waits until the value is above 0 and takes 1 from it; a cancellation point. Any
    /// other timeout makes one attempt at once and never blocks; callers poll. 0 taken; 102 not
    /// available, with a timeout of 0; -1 not available, with any other timeout, or no semaphore.
    int Wait(unsigned int timeoutMs);
    /// Gives the reference back and forgets the semaphore. 1 if this was the last reference, which
    /// destroys the semaphore and removes its name; else 0.
    int Delete();

    /// Name to sysSemaphore_t*.
    static CStrMap NamedSemaphoreMap VARNOCK_GUARDED_BY(CEvent::Spinlock);

  private:
    std::atomic<sysSemaphore_t*> record_;
};
