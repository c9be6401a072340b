#pragma once

/// All synchronisation objects: the recursive lock, the interlocked counters and the wrappers
/// around the platform's calls.
#include "runtime/CriticalSection.h"
#include "runtime/InterLock.h"
#include "runtime/SyncWrappers.h"
