#pragma once

#include "runtime/CriticalSection.h"

// Internal, not installed.
namespace varnock {

/// CRegistry::MSpinlock, for code that needs the lock and nothing else of the registry.
CCriticalSection& registryLock();

/// Frees the keys that were removed. From now on nothing is loaded or saved: the process ends, and
/// the root of the tree is destroyed next.
void endRegistry();

}  // namespace varnock
