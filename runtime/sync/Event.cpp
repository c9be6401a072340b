#include "runtime/Event.h"

#include <errno.h>

#include <algorithm>
#include <new>
#include <optional>

#include "runtime/SyncWrappers.h"
#include "runtime/process/Clock.h"
#include "runtime/sync/EventFork.h"
#include "runtime/sync/MutexGuard.h"
#include "runtime/sync/WaitResult.h"
#include "runtime/threads/Cancellation.h"
#include "runtime/trace/TraceAt.h"
#include "util/TextCopy.h"

using varnock::CancellationGuard;
using varnock::kReleased;
using varnock::kTimedOut;
using varnock::kWaitFailed;
using varnock::MutexGuard;
using varnock::traceAt;

namespace {

using EventRecord = CEvent::sysEvent_t;

/// All records of the process, for fork(). Guarded by CEvent::Spinlock.
constinit EventRecord* eventRecords = nullptr;

void enlist(EventRecord& record) VARNOCK_REQUIRES(CEvent::Spinlock) {
    record.next = eventRecords;
    if (eventRecords != nullptr) {
        eventRecords->previous = &record;
    }
    eventRecords = &record;
}

/// A record that its user has made is in no list.
void delist(EventRecord& record) VARNOCK_REQUIRES(CEvent::Spinlock) {
    if (record.previous == nullptr && eventRecords != &record) {
        return;
    }
    (record.previous != nullptr ? record.previous->next : eventRecords) = record.next;
    if (record.next != nullptr) {
        record.next->previous = record.previous;
    }
}

const char* nameOf(const EventRecord& record) {
    return record.name != nullptr ? record.name.get() : "anon";
}

struct State {
    int signalled;
    int manualReset;
};

/// What the trace texts show of a record, read under its mutex.
State stateOf(EventRecord& record) {
    const MutexGuard lock(record.mutex);
    return {static_cast<int>(record.signalled), static_cast<int>(record.manualReset)};
}

void reportNoMemory() {
    Debug.PrintAlways(0, "WARNING: cannot create new Event: NO MEMORY AVAILABLE\n");
}

void reportFailure(const char* call, int error, const EventRecord& record) {
    traceAt(3,
            "%s(), CLOCK_REALTIME: ## ERROR ##: failed (ret=%d) on event %p <%s> "
            "(IsSignaled=%d)\n",
            call, error, static_cast<const void*>(&record), nameOf(record),
            static_cast<int>(record.signalled));
}

void destroyConditions(EventRecord& record) {
    CondDestroy(&record.condition);
    CondDestroy(&record.drained);
}

/// Initialises conditions and mutex. Traces a failure, and then has initialised nothing.
[[nodiscard]] bool initialise(EventRecord& record) {
    if (const int error = CondInit(&record.condition)) {
        reportFailure("pthread_cond_init", error, record);
        return false;
    }
    if (const int error = CondInit(&record.drained)) {
        CondDestroy(&record.condition);
        reportFailure("pthread_cond_init", error, record);
        return false;
    }
    if (const int error = MutexInit(&record.mutex)) {
        destroyConditions(record);
        reportFailure("pthread_mutex_init", error, record);
        return false;
    }
    return true;
}

void destroy(EventRecord* record) {
    destroyConditions(*record);
    MutexDestroy(&record->mutex);
    traceAt(5, "deleting event %p <%s> (IsSignaled=%d)\n", static_cast<void*>(record),
            nameOf(*record), static_cast<int>(record->signalled));
    delete record;
}

/// Makes a record with one reference and enters it under its name, if it has one. Traces a failure
/// and returns null.
[[nodiscard]] EventRecord* make(int initialState, int manualReset, const char* name)
    VARNOCK_REQUIRES(CEvent::Spinlock) {
    std::unique_ptr<EventRecord> record(new (std::nothrow) EventRecord{});
    if (record == nullptr) {
        reportNoMemory();
        return nullptr;
    }
    record->refCount = 1;
    record->manualReset = manualReset != 0 ? 1 : 0;
    record->signalled = initialState != 0 ? 1 : 0;
    if (!initialise(*record)) {
        return nullptr;
    }
    try {
        record->name = varnock::copyText(name);
        CEvent::NamedEventMap.add(name, record.get(), nullptr, nullptr);
    } catch (const std::bad_alloc&) {
        destroyConditions(*record);
        MutexDestroy(&record->mutex);
        reportNoMemory();
        return nullptr;
    }
    enlist(*record);
    return record.release();
}

void reportReference(EventRecord& record, int manualReset) {
    const State state = stateOf(record);
    traceAt(3, "refCount for event %p <%s> incremented (IsSignaled=%d)\n",
            static_cast<void*>(&record), nameOf(record), state.signalled);
    if (state.manualReset != (manualReset != 0 ? 1 : 0)) {
        Debug.PrintAlways(0, "WARNING: manual setting mismatch for event %p <%s>\n",
                          static_cast<void*>(&record), nameOf(record));
    }
}

/// Releases waiters by count: all of a manual event, one more of an automatic one. The count keeps
/// the release for a waiter that has not run yet: a Reset() after a Set() does not revoke it. A
/// waiter that wakes without a cause does not pass.
void grantRelease(EventRecord& record) {
    record.grants =
        record.manualReset != 0 ? record.waiters : std::min(record.grants + 1, record.waiters);
    record.granted = record.arrivals;
}

[[nodiscard]] int wake(EventRecord& record) {
    return record.manualReset != 0 ? CondBroadcast(&record.condition)
                                   : CondSignal(&record.condition);
}

[[nodiscard]] bool takeSignal(EventRecord& record) {
    if (record.signalled == 0) {
        return false;
    }
    if (record.manualReset == 0) {
        record.signalled = 0;
    }
    return true;
}

/// A grant is for threads that waited when it was given. Later waiters must not take it.
[[nodiscard]] bool takeRelease(EventRecord& record, std::uint64_t ticket) {
    if (record.grants == 0 || ticket >= record.granted) {
        return takeSignal(record);
    }
    --record.grants;
    return true;
}

timespec after(unsigned int milliseconds) {
    constexpr long nanosecondsPerSecond = 1'000'000'000;
    timespec time = varnock::Clock::instance().wallTime();
    time.tv_sec += milliseconds / 1000;
    time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (time.tv_nsec >= nanosecondsPerSecond) {
        time.tv_sec += 1;
        time.tv_nsec -= nanosecondsPerSecond;
    }
    return time;
}

/// One wait on the condition. The clean-ups of the wait own the mutex meanwhile: a cancelled thread
/// must not touch the record after the unlock.
[[nodiscard]] int waitOnce(EventRecord& record, MutexGuard& lock,
                           const std::optional<timespec>& deadline) {
    lock.release();
    const int error =
        deadline
            ? CondTimedWaitExtended(&record.condition, &record.mutex, &*deadline, &record.waiters)
            : CondWaitExtended(&record.condition, &record.mutex, &record.waiters);
    lock.adopt();
    return error;
}

void leave(EventRecord& record) {
    --record.waiters;
    record.grants = std::min(record.grants, record.waiters);
    if (record.waiters == 0) {
        CondSignal(&record.drained);
    }
}

[[nodiscard]] int waitForRelease(EventRecord& record, MutexGuard& lock, unsigned int timeoutMs) {
    std::optional<timespec> deadline;
    if (timeoutMs != varnock::kInfinite) {
        deadline = after(timeoutMs);
    }
    // Removes grants of cancelled waiters: later waiters must not take them.
    record.grants = std::min(record.grants, record.waiters);
    ++record.waiters;
    const std::uint64_t ticket = record.arrivals++;
    int error = 0;
    bool isReleased = false;
    do {
        error = waitOnce(record, lock, deadline);
        isReleased = takeRelease(record, ticket);
    } while (!isReleased && (error == 0 || error == EINTR));
    leave(record);
    if (isReleased) {
        return kReleased;
    }
    return error == ETIMEDOUT ? kTimedOut : kWaitFailed;
}

/// Polls once a second until no thread waits. The last thread to leave ends the second early. The
/// mutex is unlocked between two polls, so that waiters get it with any clock.
void waitUntilDrained(EventRecord& record) {
    for (;;) {
        MutexGuard lock(record.mutex);
        if (record.waiters == 0) {
            return;
        }
        varnock::Clock::instance().waitUntil(&record.drained, &record.mutex, after(1000));
        lock.unlock();
        SchedYield();
    }
}

}  // namespace

void varnock::lockEvents() {
    for (EventRecord* record = eventRecords; record != nullptr; record = record->next) {
        MutexLock(&record->mutex);
    }
}

void varnock::unlockEvents() {
    for (EventRecord* record = eventRecords; record != nullptr; record = record->next) {
        MutexUnlock(&record->mutex);
    }
}

void varnock::forgetWaitersOfParent() {
    for (EventRecord* record = eventRecords; record != nullptr; record = record->next) {
        CondInit(&record->condition);
        CondInit(&record->drained);
        record->waiters = 0;
        record->grants = 0;
    }
}

CEvent::CEvent(int initialState, int manualReset, const char* name, void*)
    : record_(nullptr), closed_(0) {
    const CancellationGuard uncancelled;
    EventRecord* record = nullptr;
    bool existing = false;
    {
        const CriticalSectionGuard lock(Spinlock);
        record = static_cast<EventRecord*>(NamedEventMap.lookup(name, nullptr));
        existing = record != nullptr;
        if (existing) {
            ++record->refCount;
        } else {
            record = make(initialState, manualReset, name);
        }
    }
    record_ = record;
    if (existing) {
        reportReference(*record, manualReset);
    } else if (record != nullptr) {
        traceAt(5, "creating event %p <%s> (IsSignaled=%d)\n", static_cast<void*>(record),
                nameOf(*record), stateOf(*record).signalled);
    }
}

CEvent::CEvent(sysEvent_t* record) : record_(record), closed_(0) {}

CEvent::CEvent(const CEvent& other) : record_(nullptr), closed_(0) {
    refer(other);
}

CEvent& CEvent::operator=(const CEvent& other) {
    if (this != &other) {
        refer(other);
    }
    return *this;
}

void CEvent::refer(const CEvent& other) {
    const CancellationGuard uncancelled;
    const CriticalSectionGuard lock(Spinlock);
    EventRecord* const record = other.record_;
    record_ = record;
    closed_ = 0;
    if (record == nullptr) {
        return;
    }
    ++record->refCount;
    const State state = stateOf(*record);
    traceAt(5, "incr refcount on event %p <%s> (IsSignaled=%d,IsManual=%d)\n",
            static_cast<void*>(record), nameOf(*record), state.signalled, state.manualReset);
}

CEvent::~CEvent() {
    const CancellationGuard uncancelled;
    EventRecord* const record = record_;
    if (record == nullptr) {
        return;
    }
    {
        const CriticalSectionGuard lock(Spinlock);
        if (--record->refCount != 0) {
            // Another thread may free the record once the lock is released.
            traceAt(5, "decr refcount on event %p <%s> (IsSignaled=%d)\n",
                    static_cast<void*>(record), nameOf(*record), stateOf(*record).signalled);
            return;
        }
        NamedEventMap.remove(record->name.get(), nullptr);
        delist(*record);
    }
    waitUntilDrained(*record);
    destroy(record);
}

CEvent* CEvent::CreateRef(const char* name) {
    const CancellationGuard uncancelled;
    const CriticalSectionGuard lock(Spinlock);
    auto* record = static_cast<EventRecord*>(NamedEventMap.lookup(name, nullptr));
    if (record == nullptr) {
        traceAt(5, "CreateRef: Event <%s> NOT FOUND\n", name != nullptr ? name : "anon");
        return nullptr;
    }
    auto* event = new (std::nothrow) CEvent(record);
    if (event == nullptr) {
        reportNoMemory();
        return nullptr;
    }
    ++record->refCount;
    traceAt(5, "refering (count=%d) event %p <%s> (IsSignaled=%d)\n",
            static_cast<int>(record->refCount), static_cast<void*>(record), nameOf(*record),
            stateOf(*record).signalled);
    return event;
}

CEvent::sysEvent_t* CEvent::openRecord() const {
    return closed_ == 0 ? record_.load() : nullptr;
}

int CEvent::Create(int initialState, int manualReset, const char*, void*) {
    EventRecord* const record = openRecord();
    if (record == nullptr) {
        return 0;
    }
    const MutexGuard lock(record->mutex);
    if (record->waiters != 0) {
        return 0;
    }
    const unsigned int manual = manualReset != 0 ? 1 : 0;
    const unsigned int signalled = initialState != 0 ? 1 : 0;
    if (record->manualReset == manual && record->signalled == signalled) {
        return 1;
    }
    traceAt(5,
            "Create event %p <%s>, changing attributes (IsSignaled=%d,IsManual=%d) --> "
            "(IsSignaled=%d,IsManual=%d)\n",
            static_cast<void*>(record), nameOf(*record), static_cast<int>(record->signalled),
            static_cast<int>(record->manualReset), static_cast<int>(signalled),
            static_cast<int>(manual));
    record->manualReset = manual;
    record->signalled = signalled;
    return 1;
}

// The operations that release waiters trace before they unlock the mutex. After the unlock a
// released thread may destroy object and record.

int CEvent::Set() {
    EventRecord* const record = openRecord();
    if (record == nullptr) {
        return 0;
    }
    MutexGuard lock(record->mutex);
    const int before = static_cast<int>(record->signalled);
    record->signalled = 1;
    const int error = wake(*record);
    traceAt(5, "Set event %p <%s> IsSignaled=%d --> IsSignaled=1\n", static_cast<void*>(record),
            nameOf(*record), before);
    lock.unlock();
    SchedYield();
    return error == 0 ? 1 : 0;
}

int CEvent::Pulse() {
    EventRecord* const record = openRecord();
    if (record == nullptr) {
        return 0;
    }
    MutexGuard lock(record->mutex);
    const int before = static_cast<int>(record->signalled);
    if (takeSignal(*record)) {
        grantRelease(*record);
    }
    record->signalled = 0;
    grantRelease(*record);
    const int error = wake(*record);
    traceAt(5, "Pulse event %p <%s> IsSignaled=%d --> IsSignaled=0\n", static_cast<void*>(record),
            nameOf(*record), before);
    lock.unlock();
    SchedYield();
    return error == 0 ? 1 : 0;
}

int CEvent::Reset() {
    EventRecord* const record = openRecord();
    if (record == nullptr) {
        return 0;
    }
    const MutexGuard lock(record->mutex);
    const int before = static_cast<int>(record->signalled);
    if (takeSignal(*record)) {
        grantRelease(*record);
    }
    record->signalled = 0;
    traceAt(5, "Reset event %p <%s>: IsSignaled=%d --> IsSignaled=0\n", static_cast<void*>(record),
            nameOf(*record), before);
    return 1;
}

int CEvent::IfSet() {
    EventRecord* const record = openRecord();
    if (record == nullptr) {
        return 0;
    }
    const MutexGuard lock(record->mutex);
    traceAt(5, "Check event %p <%s> (IsSignaled=%d)\n", static_cast<void*>(record), nameOf(*record),
            static_cast<int>(record->signalled));
    return static_cast<int>(record->signalled);
}

int CEvent::Close() {
    EventRecord* const record = openRecord();
    if (record == nullptr) {
        return 0;
    }
    const MutexGuard lock(record->mutex);
    closed_ = 1;
    const int before = static_cast<int>(record->signalled);
    record->signalled = 1;
    const int error = wake(*record);
    traceAt(5, "Close event %p <%s> IsSignaled=%d --> IsSignaled=1\n", static_cast<void*>(record),
            nameOf(*record), before);
    return error == 0 ? 1 : 0;
}

int CEvent::Wait(unsigned int timeoutMs, int) {
    EventRecord* const record = openRecord();
    if (record == nullptr) {
        return kWaitFailed;
    }
    MutexGuard lock(record->mutex);
    // Without the lock the thread is not counted: the destructor would wait for it for ever.
    if (!lock.owns()) {
        return kWaitFailed;
    }
    return takeSignal(*record) ? kReleased : waitForRelease(*record, lock, timeoutMs);
}
