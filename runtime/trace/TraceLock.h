#pragma once

#include "runtime/CriticalSection.h"

namespace varnock {

/// The lock of the trace, the last one to take: whoever holds it calls nobody. It is made right
/// after `Debug` and never destroyed, since objects trace until the very end; until it is made it
/// counts and does not block. Internal.
CCriticalSection& traceLock();

}  // namespace varnock
