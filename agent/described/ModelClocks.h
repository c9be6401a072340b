#pragma once

#include "agent/AgentClock.h"
#include "agent/model/MachineModel.h"

/// The times that a model can follow.
namespace varnock::agent {

/// The time of the system. `sinceStart` counts from this call.
MachineModel::Clock systemClock();

/// The time of an agent, which must outlive the clock; its calendar is put forward by a time.
MachineModel::Clock agentTime(AgentClock& clock, AgentClock::Time forward = {});

}  // namespace varnock::agent
