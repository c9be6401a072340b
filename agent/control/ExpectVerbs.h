#pragma once

#include "agent/CallCounts.h"
#include "agent/control/Control.h"

namespace varnock::agent {

/// Adds `calls`, how often each call was asked, and `expect`, which waits until a `call` has been
/// asked so many `times`, or fails after a time `within`. The counts must outlive the control.
void addCallVerbs(Control& control, CallCounts& counts);

}  // namespace varnock::agent
