#include "runtime/process/ForkLocks.h"

#include <pthread.h>

#include "runtime/Registry.h"
#include "runtime/Synchronisation.h"
#include "runtime/sync/EventFork.h"
#include "runtime/trace/EntryHeader.h"
#include "runtime/trace/RingBufferFile.h"
#include "runtime/trace/TraceLock.h"
#include "runtime/trace/TraceQueue.h"

namespace varnock {
namespace {

/// Held during a fork, so that the lists below do not change.
constinit Mutex forkMutex;
constinit Mutex* forkLocks = nullptr;
constinit Mutex* renewedLocks = nullptr;
constinit const ForkHandlers* channels = nullptr;

// The locks are taken in one function and released in others, which the analysis cannot follow.

void enterLocks() VARNOCK_NOT_ANALYSED {
    forkMutex.lock();
    for (Mutex* lock = forkLocks; lock != nullptr; lock = lock->next()) {
        lock->lock();
    }
    if (channels != nullptr) {
        channels->prepare();
    }
    MutexLock(CInterLock::IncDecMutex());
    CRegistry::MSpinlock.Enter();
    CEvent::Spinlock.Enter();
    lockEvents();
    traceLock().Enter();
}

void leaveRegistryAndCounters() VARNOCK_NOT_ANALYSED {
    CEvent::Spinlock.Leave();
    CRegistry::MSpinlock.Leave();
    MutexUnlock(CInterLock::IncDecMutex());
}

void leaveForkLocks() VARNOCK_NOT_ANALYSED {
    for (Mutex* lock = forkLocks; lock != nullptr; lock = lock->next()) {
        lock->unlock();
    }
    forkMutex.unlock();
}

void leaveLocks() VARNOCK_NOT_ANALYSED {
    traceLock().Leave();
    unlockEvents();
    leaveRegistryAndCounters();
    if (channels != nullptr) {
        channels->parent();
    }
    leaveForkLocks();
}

void leaveLocksInChild() VARNOCK_NOT_ANALYSED {
    for (Mutex* lock = renewedLocks; lock != nullptr; lock = lock->next()) {
        lock->renew();
    }
    RingBufferFile::leaveToParent();
    entryHeader().forgetHost();
    traceQueue().forgetParent();
    traceLock().Leave();
    forgetWaitersOfParent();
    unlockEvents();
    leaveRegistryAndCounters();
    if (channels != nullptr) {
        channels->child();
    }
    leaveForkLocks();
}

void add(Mutex*& list, Mutex& mutex) {
    const ScopedLock lock(forkMutex);
    mutex.next() = list;
    list = &mutex;
}

void remove(Mutex*& list, Mutex& mutex) {
    const ScopedLock lock(forkMutex);
    for (Mutex** link = &list; *link != nullptr; link = &(*link)->next()) {
        if (*link == &mutex) {
            *link = mutex.next();
            // A later mutex at this address may stand elsewhere in the list.
            mutex.startAnew();
            return;
        }
    }
}

}  // namespace

void addForkLock(Mutex& mutex) {
    add(forkLocks, mutex);
}

void removeForkLock(Mutex& mutex) {
    remove(forkLocks, mutex);
}

void addRenewedLock(Mutex& mutex) {
    add(renewedLocks, mutex);
}

void removeRenewedLock(Mutex& mutex) {
    remove(renewedLocks, mutex);
}

void setChannelForkHandlers(const ForkHandlers& handlers) {
    const ScopedLock lock(forkMutex);
    channels = &handlers;
}

void installForkHandlers() {
    pthread_atfork(enterLocks, leaveLocks, leaveLocksInChild);
}

}  // namespace varnock
