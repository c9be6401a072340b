#pragma once

#include "agent/AgentClock.h"
#include "agent/control/Control.h"
#include "agent/faults/FaultRules.h"
#include "agent/transcript/Transcript.h"

namespace varnock::agent {

/// Add the verbs of the layers between the machine and the sockets; these must outlive the control.
/// @{

/// `fault` with `do`: `add` a `rule`, `list` all, `clear` one by its `number` or all.
void addFaultVerb(Control& control, FaultRules& rules, const AgentClock& clock);
/// `transcript` begins a `file`, ends it if `off` is true, and tells where the transcript is.
void addTranscriptVerb(Control& control, Transcript& transcript);
/// `advance` moves the clock on `by` a time.
void addClockVerb(Control& control, AgentClock& clock);
/// @}

}  // namespace varnock::agent
