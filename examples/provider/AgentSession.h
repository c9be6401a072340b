#pragma once

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"

/// The module's only session with the management agent.
///
/// Thread-safety: any thread may call any of these.
namespace krm {

/// The typed calls. The first use opens the session. Throws BaseException at once if no agent is
/// listening: the library itself would retry for ten minutes, longer than any client of the CIM
/// server waits.
provider::KOLMCalls& agentCalls();

}  // namespace krm
