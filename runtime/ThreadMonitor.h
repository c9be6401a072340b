#pragma once

#include <pthread.h>

#include <array>
#include <memory>

#include "util/Export.h"
#include "util/Mutex.h"

/// The record of one thread in the monitor. Its mutex guards all fields. They are public so that a
/// host can show them.
///
/// Each change of status fills the next slot of both histories. From the 32nd change on, the last
/// slot is overwritten, beginning with a copy of the slot before it.
struct CThreadMonitorEntry {
    static constexpr unsigned int historySlots = 32;
    using History = std::array<unsigned int, historySlots>;

    unsigned int statusCounter;  ///< index of the newest slot, 0 to 31
    History entryStatus;
    pthread_mutex_t mutex;
    pthread_t thread;   ///< 0 before the first start
    pthread_t creator;  ///< the thread that called Start()
    int processId;
    unsigned long priority;
    unsigned int stackSize;
    int waitable;
    int startOption;
    int killStillAlive;
    pthread_t joiner;  ///< the thread that last waited for this one; 0 for none
    History threadStatus;
    std::unique_ptr<char[]> debugName;  ///< null before SetThreadName()
    std::unique_ptr<char[]> qualifier;
};

/// Keeps a status history for each CThread of the process, and the counters ThreadCounter and
/// MaxActiveThread.
///
/// The library makes no monitor. A host that wants one sets
///
///     pThreadMonitor = new CThreadMonitor;
///
/// before its first CThread and never deletes it. The first 512 CThread objects get an entry;
/// entries are not reused, and an object without an entry has no record.
///
/// An object that is started again keeps its entry, whose history says that the thread has ended.
/// So ThreadCounter counts each start, but only the end of the first thread of an object.
///
/// Thread-safety: any thread may call any operation. The mutex of the monitor is taken before that
/// of an entry. Operations on a null entry return false; nothing throws.
class VARNOCK_EXPORT CThreadMonitor {
  public:
    /// Bits of a thread status, which SetEntryStatus() and SetEntryJoinStatus() add.
    enum ThreadStatus : unsigned int {
        InstanceConstructed = 0x1,
        Running = 0x10,
        Exited = 0x100,
        Stopped = 0x200,
        KillRequested = 0x1000,
        Cancelled = 0x2000,
        JoinBegun = 0x10000,
        Joined = 0x20000,
        InstanceDestroyed = 0x10000000,
    };

    static constexpr unsigned int maxEntries = 512;

    CThreadMonitor();
    ~CThreadMonitor();
    CThreadMonitor(const CThreadMonitor&) = delete;
    CThreadMonitor& operator=(const CThreadMonitor&) = delete;

    /// A new entry, which the monitor owns. Traces a failure and returns null if all entries are in
    /// use.
    [[nodiscard]] CThreadMonitorEntry* RegisterEntry();
    /// Adds a status. Running counts the thread, also for a null entry. InstanceDestroyed, Stopped,
    /// Joined and Cancelled change the entry status as well, and the last three clear Running.
    bool SetEntryStatus(CThreadMonitorEntry* entry, unsigned int status);
    /// Adds JoinBegun or Joined and remembers the caller as joiner.
    bool SetEntryJoinStatus(CThreadMonitorEntry* entry, unsigned int status);
    /// Records which thread the entry describes and how it was started.
    bool SetEntryValues(CThreadMonitorEntry* entry, pthread_t thread, pthread_t creator,
                        int processId, unsigned long priority, unsigned int stackSize, int waitable,
                        int startOption, int killStillAlive);
    /// Stores copies of both names; null stores none. False without an entry or memory; the old
    /// names then stay.
    bool SetEntryName(CThreadMonitorEntry* entry, const char* debugName, const char* qualifier);
    /// Records that the calling thread exits, and no longer counts it. Traces a failure and returns
    /// false if the thread has no open entry.
    bool SetEntryStatusExited();

  private:
    varnock::Mutex mutex_;  ///< also guards the two counters of the process
    unsigned int count_ VARNOCK_GUARDED_BY(mutex_);  ///< entries in use
    std::array<CThreadMonitorEntry, maxEntries> entries_ VARNOCK_GUARDED_BY(mutex_);
};

/// The monitor of the process, null unless the host has made one.
extern VARNOCK_EXPORT CThreadMonitor* pThreadMonitor;
/// The number of threads: 1 for the main thread, plus the threads that have started and not exited.
extern VARNOCK_EXPORT int ThreadCounter;
/// The highest value of ThreadCounter so far.
extern VARNOCK_EXPORT int MaxActiveThread;
