#pragma once

#include "runtime/Event.h"

// What fork() does with the events. Internal, not installed.
namespace varnock {

/// Locks the mutex of every event.
void lockEvents() VARNOCK_REQUIRES(CEvent::Spinlock);
/// Unlocks the mutex of every event.
void unlockEvents() VARNOCK_REQUIRES(CEvent::Spinlock);
/// For a forked child, which has none of the waiting threads: initialises the conditions and counts
/// no waiter. REQUIRES: lockEvents().
void forgetWaitersOfParent() VARNOCK_REQUIRES(CEvent::Spinlock);

}  // namespace varnock
