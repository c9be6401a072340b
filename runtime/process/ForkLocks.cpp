#include "runtime/process/ForkLocks.h"

#include <pthread.h>

#include <memory>
#include <new>

#include "runtime/Registry.h"
#include "runtime/Synchronisation.h"
#include "runtime/sync/EventFork.h"
#include "runtime/trace/EntryHeader.h"
#include "runtime/trace/RingBufferFile.h"
#include "runtime/trace/TraceLock.h"

namespace varnock {
namespace {

struct ForkLock {
    Mutex& mutex;
    ForkLock* next;
};

/// Held during a fork, so that the lists below do not change.
constinit Mutex forkMutex;
constinit ForkLock* forkLocks = nullptr;
constinit const ForkHandlers* channels = nullptr;

// The locks are taken in one function and released in others, which the analysis cannot follow.

void enterLocks() VARNOCK_NOT_ANALYSED {
    forkMutex.lock();
    for (ForkLock* lock = forkLocks; lock != nullptr; lock = lock->next) lock->mutex.lock();
    if (channels != nullptr) channels->prepare();
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
    for (ForkLock* lock = forkLocks; lock != nullptr; lock = lock->next) lock->mutex.unlock();
    forkMutex.unlock();
}

void leaveLocks() VARNOCK_NOT_ANALYSED {
    traceLock().Leave();
    unlockEvents();
    leaveRegistryAndCounters();
    if (channels != nullptr) channels->parent();
    leaveForkLocks();
}

void leaveLocksInChild() VARNOCK_NOT_ANALYSED {
    RingBufferFile::leaveToParent();
    entryHeader().forgetHost();
    traceLock().Leave();
    forgetWaitersOfParent();
    unlockEvents();
    leaveRegistryAndCounters();
    if (channels != nullptr) channels->child();
    leaveForkLocks();
}

}  // namespace

void addForkLock(Mutex& mutex) {
    std::unique_ptr<ForkLock> added(new (std::nothrow) ForkLock{mutex, nullptr});
    if (added == nullptr) return;
    const ScopedLock lock(forkMutex);
    added->next = forkLocks;
    forkLocks = added.release();
}

void removeForkLock(Mutex& mutex) {
    const ScopedLock lock(forkMutex);
    for (ForkLock** link = &forkLocks; *link != nullptr; link = &(*link)->next) {
        if (&(*link)->mutex == &mutex) {
            const std::unique_ptr<ForkLock> removed(*link);
            *link = removed->next;
            return;
        }
    }
}

void setChannelForkHandlers(const ForkHandlers& handlers) {
    const ScopedLock lock(forkMutex);
    channels = &handlers;
}

void installForkHandlers() {
    pthread_atfork(enterLocks, leaveLocks, leaveLocksInChild);
}

}  // namespace varnock
