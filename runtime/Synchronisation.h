#pragma once

/// All synchronisation objects: the recursive lock, interlocked counters, events, semaphores, the
/// empty event log, and the wrappers of the system calls.
///
/// Counters and events work in a forked child, whatever other threads of the parent did at the
/// fork: fork() takes their locks. The child has copies, which it does not share with its parent.
#include "runtime/CriticalSection.h"
#include "runtime/Event.h"
#include "runtime/EventLog.h"
#include "runtime/InterLock.h"
#include "runtime/Semaphore.h"
#include "runtime/SyncWrappers.h"
