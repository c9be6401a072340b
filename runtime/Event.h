#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "runtime/CriticalSection.h"
#include "util/Export.h"
#include "util/StrMap.h"
#include "util/ThreadAnnotations.h"

/// Event with manual or automatic reset, shared by name inside the process.
///
/// A manual event stays signalled until Reset(). An automatic event is reset by the Wait() that it
/// releases, so it releases exactly one.
///
///     CEvent done(0, 1, nullptr);
///     ...                                      // another thread: done.Set();
///     if (done.Wait(5000, 0) == 102) { ... }   // 0 signalled, 102 time-out, -1 error
///
/// Several CEvent objects can refer to one record: objects of one name, copies, and results of
/// CreateRef(). The last object destroys the record. A closed object keeps its reference, but all
/// its operations fail; other objects of the record still work.
///
/// A released thread sees everything that the other thread did before Set() or Pulse(). Wait()
/// never returns 0 without a cause, and the releasing thread touches neither object nor record
/// after the release, so a released thread may destroy the object.
///
/// A forked child has copies of all events, named or not, in their state at the fork and without a
/// waiter. It shares none with its parent.
///
/// Thread-safety: any thread may call any operation. REQUIRES: no thread enters an operation of an
/// object that is being destroyed. The destructor waits for threads that are inside Wait().
class VARNOCK_EXPORT CEvent {
  public:
    /// The state that the objects of one event share.
    struct sysEvent_t {
        pthread_cond_t condition;
        pthread_mutex_t mutex;         ///< guards manualReset, signalled and all fields behind name
        unsigned int refCount;         ///< CEvent objects of this record; guarded by Spinlock
        unsigned int manualReset;      ///< 1: stays signalled; 0: a released Wait() resets it
        unsigned int signalled;        ///< the current state, 1 or 0
        std::unique_ptr<char[]> name;  ///< null when unnamed; constant
        unsigned int waiters;          ///< threads inside Wait()
        unsigned int grants;           ///< waiters released that have not left yet, see Pulse()
        std::uint64_t arrivals;        ///< waits so far; the ticket of a wait is its number
        std::uint64_t granted;         ///< the grants are for tickets below this number
        pthread_cond_t drained;        ///< signalled when the last waiter leaves
        sysEvent_t* next;              ///< all records of the process; guarded by Spinlock
        sysEvent_t* previous;          ///< null for the first one
    };

    /// Refers to the event of this name, or makes a new event; a null name always makes a new one.
    /// An existing event keeps its state and its kind of reset; a different `manualReset` is
    /// traced. If the record cannot be made, the failure is traced and every operation fails.
    /// `attributes` is not used.
    CEvent(int initialState, int manualReset, const char* name, void* attributes = nullptr);
    /// Refers to an existing record. The caller has counted the reference.
    explicit CEvent(sysEvent_t* record);
    /// Refers to the record of `other` and counts the reference.
    CEvent(const CEvent& other);
    /// Refers to the record of `other`, counts the reference and is open again. The old reference
    /// is not given back, so the old record keeps its name: users that know only the name rely on
    /// it. Assignment to itself does nothing.
    CEvent& operator=(const CEvent& other);
    /// Gives the reference back. The last reference removes the name and waits until no thread is
    /// inside Wait(). The wait has no limit: call Close() or Set() first.
    ~CEvent();

    /// A new object, owned by the caller, for the event of this name; null if there is none or no
    /// memory.
    [[nodiscard]] static CEvent* CreateRef(const char* name);

    /// Sets state and kind of reset. 1, or 0 while a thread waits, on a closed object or without
    /// record. Name and attributes are not used.
    int Create(int initialState, int manualReset, const char* name, void* attributes = nullptr);
    /// Signals the event: releases all waiters of a manual one, one waiter of an automatic one. 1,
    /// or 0 on a closed object or without record; so do the next four.
    int Set();
    /// Releases the threads that wait now (manual) or one of them (automatic), and ends the
    /// signalled state. Later waits are not released.
    int Pulse();
    /// Ends the signalled state. Threads that Set() has released still return 0.
    int Reset();
    /// The state, 1 signalled or 0, without changing it.
    int IfSet();
    /// Signals the event, which releases all waiters of a manual one and one waiter of an automatic
    /// one. All later operations of this object fail.
    int Close();
    /// Waits until the event releases this thread, at most `timeoutMs` (0xFFFFFFFF: for ever).
    /// 0 released, 102 time-out, -1 on a closed object or without record. The second argument is
    /// not used. A cancellation point that leaves the event consistent.
    int Wait(unsigned int timeoutMs, int unused = 0);

    /// Guards the two maps of names and all reference counts of events and semaphores. Taken before
    /// the mutex of a record.
    static CCriticalSection Spinlock;
    /// Name to sysEvent_t*.
    static CStrMap NamedEventMap VARNOCK_GUARDED_BY(Spinlock);

  private:
    sysEvent_t* openRecord() const;
    void refer(const CEvent& other);

    std::atomic<sysEvent_t*> record_;
    std::atomic<unsigned int> closed_;
};
