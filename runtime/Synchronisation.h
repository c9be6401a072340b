#pragma once

/// All synchronisation objects: the recursive lock, interlocked counters, events, semaphores, the
/// event log that is none, and the wrappers around the platform's calls.
#include "runtime/CriticalSection.h"
#include "runtime/Event.h"
#include "runtime/EventLog.h"
#include "runtime/InterLock.h"
#include "runtime/Semaphore.h"
#include "runtime/SyncWrappers.h"
