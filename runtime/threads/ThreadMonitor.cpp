#include "runtime/ThreadMonitor.h"

#include <new>
#include <span>
#include <utility>

#include "runtime/SyncWrappers.h"
#include "runtime/Thread.h"
#include "runtime/sync/MutexGuard.h"
#include "runtime/threads/Cancellation.h"
#include "runtime/threads/ThreadNumber.h"
#include "runtime/trace/TraceAt.h"
#include "util/TextCopy.h"

using varnock::CancellationGuard;
using varnock::MutexGuard;
using varnock::ScopedLock;
using varnock::threadNumber;
using varnock::traceAt;

namespace {

using Entry = CThreadMonitorEntry;

// Entry status bits. The highest bit marks an entry whose thread or object has ended.
constexpr unsigned int kEntryRegistered = 0x1;
constexpr unsigned int kEntryOld = 0x10000000;
constexpr unsigned int kEntryExited = 0x10000010;
constexpr unsigned int kEntryStopped = 0x10000020;
constexpr unsigned int kEntryCancelled = 0x10000040;
constexpr unsigned int kEntryJoined = 0x10000080;
constexpr unsigned int kEntryInstanceDestroyed = 0x10000800;

unsigned int& entryStatus(Entry& entry) {
    return entry.entryStatus[entry.statusCounter];
}

unsigned int& threadStatus(Entry& entry) {
    return entry.threadStatus[entry.statusCounter];
}

/// Begins a change of status: copies the newest slot of the history to the next one. If the history
/// is full, copies the second last slot over the last one.
void advance(Entry& entry, const char* overflowFormat) {
    if (entry.statusCounter < Entry::historySlots - 1) {
        ++entry.statusCounter;
    } else {
        traceAt(1, overflowFormat, static_cast<void*>(&entry));
    }
    entryStatus(entry) = entry.entryStatus[entry.statusCounter - 1];
    threadStatus(entry) = entry.threadStatus[entry.statusCounter - 1];
}

/// Records that the thread has ended, for this reason.
void endRunning(Entry& entry, unsigned int reason) {
    threadStatus(entry) &= ~static_cast<unsigned int>(CThreadMonitor::Running);
    entryStatus(entry) |= reason;
}

void endInstance(Entry& entry) {
    if ((threadStatus(entry) & CThreadMonitor::Running) != 0) {
        traceAt(1,
                "CTHREADMONITOR::SetEntryStatus(): WARNING: Instance (%p) of a running thread = "
                "0x%08X destroyed !!!\n",
                static_cast<void*>(&entry), threadNumber(entry.thread));
    }
    threadStatus(entry) &= ~static_cast<unsigned int>(CThreadMonitor::InstanceConstructed);
    entryStatus(entry) |= kEntryInstanceDestroyed;
}

/// Stores a counter that hosts read without a lock.
void storeCounter(int& counter, int value) {
    __atomic_store_n(&counter, value, __ATOMIC_RELAXED);
}

/// REQUIRES: the mutex of the monitor is held.
void countStart() {
    storeCounter(ThreadCounter, ThreadCounter + 1);
    if (ThreadCounter > MaxActiveThread) {
        storeCounter(MaxActiveThread, ThreadCounter);
        traceAt(1, "CTHREADMONITOR::SetEntryStatus(): ThreadCounter=%d, MaxActiveThread=%d\n",
                ThreadCounter, MaxActiveThread);
    }
}

/// True if the entry describes `thread`. The system reuses thread ids, so an entry whose own thread
/// has ended does not count.
bool describes(Entry& entry, pthread_t thread) {
    if (!ThreadEqual(entry.thread, thread)) {
        return false;
    }
    if ((entryStatus(entry) & kEntryOld) == 0) {
        return true;
    }
    traceAt(1,
            "CTHREADMONITOR::SetEntryStatusExited(): WARNING: an old entry (Handle = %p, "
            "EntryStatus = 0x%08x, ThreadStatus = 0x%08x) for ThreadId = 0x%08X found\n",
            static_cast<void*>(&entry), entryStatus(entry), threadStatus(entry),
            threadNumber(thread));
    constexpr unsigned int kHasEnded =
        CThreadMonitor::Exited | CThreadMonitor::Stopped | CThreadMonitor::Joined;
    if ((threadStatus(entry) & kHasEnded) == 0) {
        return true;
    }
    traceAt(1,
            "CTHREADMONITOR::SetEntryStatusExited(): WARNING: Don't touch an old entry (Handle = "
            "%p, EntryStatus = 0x%08x, ThreadStatus = 0x%08x, ThreadId = 0x%08X)\n",
            static_cast<void*>(&entry), entryStatus(entry), threadStatus(entry),
            threadNumber(thread));
    return false;
}

/// REQUIRES: the mutexes of the monitor and of the entry are held.
void recordExit(Entry& entry) {
    advance(entry,
            "CTHREADMONITOR::SetEntryStatusExited(): WARNING: Status Counter overflow for Entry "
            "=%p !!!\n");
    threadStatus(entry) |= CThreadMonitor::Exited;
    endRunning(entry, kEntryExited);
    storeCounter(ThreadCounter, ThreadCounter - 1);
    traceAt(1,
            "CTHREADMONITOR::SetEntryStatusExited(): Status for entry, Handle = %p changed "
            "(EntryStatus = 0x%08x, ThreadStatus = 0x%08x, ThreadId = 0x%08X, ThreadCounter = "
            "%d)\n",
            static_cast<void*>(&entry), entryStatus(entry), threadStatus(entry),
            threadNumber(entry.thread), ThreadCounter);
}

}  // namespace

CThreadMonitor::CThreadMonitor() : count_(0), entries_{} {}

CThreadMonitor::~CThreadMonitor() {
    for (Entry& entry : std::span(entries_).first(count_)) {
        MutexDestroy(&entry.mutex);
    }
}

CThreadMonitorEntry* CThreadMonitor::RegisterEntry() {
    const CancellationGuard uncancelled;
    const ScopedLock lock(mutex_);
    if (count_ >= maxEntries) {
        traceAt(1,
                "CTHREADMONITOR::RegisterEntry(): WARNING: cannot create an entry in "
                "CTHREADMONITOR (max value exceeded)\n");
        return nullptr;
    }
    Entry& entry = entries_[count_];
    if (MutexInit(&entry.mutex) != 0) {
        traceAt(1,
                "CTHREADMONITOR::RegisterEntry(): WARNING: cannot create an entry in "
                "CTHREADMONITOR (no entry mutex available)\n");
        return nullptr;
    }
    entry.statusCounter = 0;
    entryStatus(entry) = kEntryRegistered;
    threadStatus(entry) = 0;
    ++count_;
    traceAt(1, "CTHREADMONITOR::RegisterEntry(): new entry (pentry = %p) registered\n",
            static_cast<void*>(&entry));
    return &entry;
}

bool CThreadMonitor::SetEntryStatus(CThreadMonitorEntry* entry, unsigned int status) {
    const CancellationGuard uncancelled;
    if ((status & Running) != 0) {
        const ScopedLock lock(mutex_);
        countStart();
    }
    if (entry == nullptr) {
        return false;
    }
    const MutexGuard lock(entry->mutex);
    advance(*entry,
            "CTHREADMONITOR::SetEntryStatus(): WARNING: Status Counter overflow for Entry =%p "
            "!!!\n");
    threadStatus(*entry) |= status;
    if ((status & InstanceDestroyed) != 0) {
        endInstance(*entry);
    } else if ((status & Stopped) != 0) {
        endRunning(*entry, kEntryStopped);
    } else if ((status & Joined) != 0) {
        endRunning(*entry, kEntryJoined);
    } else if ((status & Cancelled) != 0) {
        endRunning(*entry, kEntryCancelled);
    }
    return true;
}

bool CThreadMonitor::SetEntryJoinStatus(CThreadMonitorEntry* entry, unsigned int status) {
    if (entry == nullptr) {
        return false;
    }
    const CancellationGuard uncancelled;
    const MutexGuard lock(entry->mutex);
    advance(*entry,
            "CTHREADMONITOR::SetEntryJoinStatus(): WARNING: Status Counter overflowfor Entry =%p "
            "!!!\n");
    threadStatus(*entry) |= status;
    if ((status & Joined) != 0) {
        endRunning(*entry, kEntryJoined);
    }
    entry->joiner = ThreadSelf();
    return true;
}

bool CThreadMonitor::SetEntryValues(CThreadMonitorEntry* entry, pthread_t thread, pthread_t creator,
                                    int processId, unsigned long priority, unsigned int stackSize,
                                    int waitable, int startOption, int killStillAlive) {
    if (entry == nullptr) {
        return false;
    }
    const MutexGuard lock(entry->mutex);
    entry->thread = thread;
    entry->creator = creator;
    entry->processId = processId;
    entry->priority = priority;
    entry->stackSize = stackSize;
    entry->waitable = waitable;
    entry->startOption = startOption;
    entry->killStillAlive = killStillAlive;
    return true;
}

bool CThreadMonitor::SetEntryName(CThreadMonitorEntry* entry, const char* debugName,
                                  const char* qualifier) {
    if (entry == nullptr) {
        return false;
    }
    try {
        std::unique_ptr<char[]> newName = varnock::copyText(debugName);
        std::unique_ptr<char[]> newQualifier = varnock::copyText(qualifier);
        const MutexGuard lock(entry->mutex);
        entry->debugName = std::move(newName);
        entry->qualifier = std::move(newQualifier);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool CThreadMonitor::SetEntryStatusExited() {
    const CancellationGuard uncancelled;
    const ScopedLock lock(mutex_);
    const pthread_t self = ThreadSelf();
    for (Entry& entry : std::span(entries_).first(count_)) {
        const MutexGuard entryLock(entry.mutex);
        if (describes(entry, self)) {
            recordExit(entry);
            return true;
        }
    }
    traceAt(1,
            "CTHREADMONITOR::SetEntryStatusExited(): WARNING: no corresponding entry for "
            "ThreadId = 0x%08X found\n",
            threadNumber(self));
    return false;
}
