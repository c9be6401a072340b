#pragma once

#include "util/Mutex.h"

// The locks that fork() takes, so that no other thread holds one of them in the child, where that
// thread does not exist. The runtime knows its own locks; other rooms register theirs here.
// Internal, not installed.
//
// The order is that of the locks: the lists below; those of addForkLock(), the latest first; the
// handlers of the channels; the mutex of the counters; CRegistry::MSpinlock; CEvent::Spinlock; the
// mutex of each event; the trace lock.
namespace varnock {

/// Lets fork() take a mutex and release it in parent and child.
/// REQUIRES: the mutex is removed before it is destroyed.
void addForkLock(Mutex& mutex);
/// Undoes addForkLock(). REQUIRES: no thread holds the mutex.
void removeForkLock(Mutex& mutex);

/// Makes a mutex free in the child, for one that may be held too long for fork() to wait for it.
/// REQUIRES: as for addForkLock(). The holder calls no function of a user, who might call fork().
void addRenewedLock(Mutex& mutex);
/// Undoes addRenewedLock(). REQUIRES: no thread holds the mutex.
void removeRenewedLock(Mutex& mutex);

/// What fork() calls, as with pthread_atfork().
struct ForkHandlers {
    void (*prepare)();
    void (*parent)();
    void (*child)();
};
/// Sets the handlers for the locks of the channels. `handlers` must live until the process ends.
/// REQUIRES: the caller holds none of the locks of addForkLock().
void setChannelForkHandlers(const ForkHandlers& handlers);

/// Registers everything with pthread_atfork(). Called once, when the library is loaded.
void installForkHandlers();

}  // namespace varnock
