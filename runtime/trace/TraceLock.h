#pragma once

#include "runtime/CriticalSection.h"

namespace varnock {

/// The lock of the trace. It is the last one in the order of locks: no other lock is taken while it
/// is held. It is built just after `Debug`; before, it counts and does not block. It is never
/// destroyed, because objects trace until the end of the process. Internal.
CCriticalSection& traceLock();

}  // namespace varnock
