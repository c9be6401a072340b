#pragma once

#include <random>

#include "agent/ReplyPlan.h"
#include "agent/faults/FaultRule.h"

namespace varnock::agent {

/// A plan with a fault in its reply, the frame of its first step; what follows are events. A plan
/// that begins with something else is kept.
[[nodiscard]] ReplyPlan faultyReply(const Fault& fault, ReplyPlan sound, std::mt19937_64& random);

}  // namespace varnock::agent
