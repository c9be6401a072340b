#include "runtime/trace/TraceQueue.h"

#include <utility>

#include "runtime/Debug.h"
#include "runtime/SyncWrappers.h"

namespace varnock {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

// What a placer does for the others at which of its turns. The turns between the steps hide the
// time in which the cache lines come from another processor.
constexpr unsigned int kTurns = 32;
constexpr unsigned int kFetchList = 8;
constexpr unsigned int kTakeList = 16;
constexpr unsigned int kPlaceList = 24;

// How long a thread waits until its entry is placed. A placer needs two microseconds for its turns,
// or three if the processors share no cache. Without a placer the lock is free much earlier.
constexpr int kPausesForPlacer = 256;
constexpr int kPausesForLock = 128;

constinit TraceQueue theQueue;

bool isPlacedInTime(const TraceEntry& entry, int pauses) {
    for (int i = 0; i < pauses; ++i) {
        if (entry.isPlaced()) {
            return true;
        }
        __builtin_ia32_pause();
    }
    return entry.isPlaced();
}

}  // namespace

TraceQueue& traceQueue() {
    return theQueue;
}

void TraceQueue::place(TraceEntry& entry) {
    const pthread_t self = ThreadSelf();
    const pthread_t placer = placer_.load(kRelaxed);
    const bool hasOtherPlacer = placer != 0 && placer != self;
    if (!hasOtherPlacer && traceLock().tryEnter(self)) {
        placeOwn(entry, self);
        traceLock().leave(self);
        return;
    }
    leave(entry);
    if (isPlacedInTime(entry, hasOtherPlacer ? kPausesForPlacer : kPausesForLock)) {
        return;
    }
    const CriticalSectionGuard lock(traceLock());
    dismissPlacer();
    placeAll(std::exchange(taken_, nullptr));
    placeAll(waiting_.exchange(nullptr, std::memory_order_acquire));
}

void TraceQueue::leave(TraceEntry& entry) {
    TraceEntry* next = waiting_.load(kRelaxed);
    do {
        entry.setNext(next);
    } while (!waiting_.compare_exchange_weak(next, &entry, std::memory_order_release, kRelaxed));
}

void TraceQueue::placeOwn(TraceEntry& entry, pthread_t self) {
    entry.place();
    // The lines of one text stay together.
    if (traceLock().isEnteredOnce()) {
        serveOthers(self);
    }
}

void TraceQueue::serveOthers(pthread_t self) {
    turn_ = (turn_ + 1) % kTurns;
    if (turn_ == kFetchList) {
        __builtin_prefetch(&waiting_, 1);
    } else if (turn_ == kTakeList && waiting_.load(kRelaxed) != nullptr) {
        take(self);
    } else if (turn_ == kPlaceList) {
        placeAll(std::exchange(taken_, nullptr));
    }
}

void TraceQueue::take(pthread_t self) {
    taken_ = waiting_.exchange(nullptr, std::memory_order_acquire);
    for (const TraceEntry* entry = taken_; entry != nullptr; entry = entry->next()) {
        entry->prefetch();
    }
    if (placer_.load(kRelaxed) != self) {
        placer_.store(self, kRelaxed);
    }
}

void TraceQueue::placeAll(TraceEntry* first) {
    for (TraceEntry* entry = first; entry != nullptr;) {
        // Its thread goes on, and ends its life, as soon as it is placed.
        TraceEntry* const next = entry->next();
        entry->place();
        entry->setPlaced();
        entry = next;
    }
}

void TraceQueue::dismissPlacer() {
    if (placer_.load(kRelaxed) != 0) {
        placer_.store(0, kRelaxed);
    }
}

void TraceQueue::forgetParent() {
    waiting_.store(nullptr, kRelaxed);
    taken_ = nullptr;
    dismissPlacer();
}

}  // namespace varnock
