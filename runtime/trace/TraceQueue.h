#pragma once

#include <pthread.h>

#include <atomic>

#include "runtime/trace/TraceEntry.h"
#include "runtime/trace/TraceLock.h"
#include "util/ThreadAnnotations.h"

namespace varnock {

/// Places the entries of all threads in the trace file, one after another, under the trace lock.
///
/// To take over a lock and what it guards from another processor costs more than to place an entry.
/// So, while several threads trace without a break, one of them, the placer, places the entries of
/// the others too. They leave their entries in a list, where it looks after every few of its own,
/// and touch neither the lock nor the file. A thread whose entry is not placed in time takes the
/// lock itself, places all that wait, and ends the placer's part: it no longer traces, or does so
/// too rarely.
///
/// An entry is in the file when place() returns. Waiting entries have no order among each other;
/// a thread has never more than one. Internal. Thread-safety: any thread may call any operation,
/// before the first constructor and after the last destructor too.
class TraceQueue {
  public:
    constexpr TraceQueue() = default;
    TraceQueue(const TraceQueue&) = delete;
    TraceQueue& operator=(const TraceQueue&) = delete;

    /// Places an entry. A thread that holds the trace lock already places no others.
    void place(TraceEntry& entry);
    /// Ends the part of a placer, so that a thread that holds the lock for several entries does not
    /// leave them to it.
    void dismissPlacer() VARNOCK_REQUIRES(traceLock());
    /// For a forked child, in which the threads of the waiting entries do not exist.
    void forgetParent() VARNOCK_REQUIRES(traceLock());

  private:
    static constexpr std::size_t kCacheLine = 64;

    void leave(TraceEntry& entry);
    void placeOwn(TraceEntry& entry, pthread_t self) VARNOCK_REQUIRES(traceLock());
    void serveOthers(pthread_t self) VARNOCK_REQUIRES(traceLock());
    void take(pthread_t self) VARNOCK_REQUIRES(traceLock());
    static void placeAll(TraceEntry* first) VARNOCK_REQUIRES(traceLock());

    /// The latest of the entries that wait.
    alignas(kCacheLine) std::atomic<TraceEntry*> waiting_ = nullptr;
    /// 0 for none. All threads read it, and it rarely changes.
    alignas(kCacheLine) std::atomic<pthread_t> placer_ = 0;
    /// Entries that are no longer in the list and not yet placed.
    alignas(kCacheLine) TraceEntry* taken_ VARNOCK_GUARDED_BY(traceLock()) = nullptr;
    unsigned int turn_ VARNOCK_GUARDED_BY(traceLock()) = 0;
};

/// The queue of the process.
TraceQueue& traceQueue();

/// Holds the trace lock for several entries of one thread, which stay together.
class VARNOCK_SCOPED_LOCK SeveralEntries {
  public:
    SeveralEntries() VARNOCK_ACQUIRE(traceLock()) : lock_(traceLock()) {
        traceQueue().dismissPlacer();
    }
    ~SeveralEntries() VARNOCK_RELEASE() = default;
    SeveralEntries(const SeveralEntries&) = delete;
    SeveralEntries& operator=(const SeveralEntries&) = delete;

  private:
    CriticalSectionGuard lock_;
};

}  // namespace varnock
