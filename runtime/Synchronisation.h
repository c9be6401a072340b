#pragma once

/// All synchronisation objects: the recursive lock, interlocked counters, events, semaphores, the
/// empty event log, and the wrappers of the system calls.
#include "runtime/CriticalSection.h"
#include "runtime/Event.h"
#include "runtime/EventLog.h"
#include "runtime/InterLock.h"
#include "runtime/Semaphore.h"
#include "runtime/SyncWrappers.h"
