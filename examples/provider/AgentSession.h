#pragma once

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"

/// The module's one session with the management agent.
///
/// Thread-safety: any thread may call any of these.
namespace krm {

/// The typed calls. The first use makes the session. Throws BaseException at once when nobody
/// listens on the agent's socket: the library itself would try for ten minutes, longer than any
/// client of the CIM server waits.
provider::KOLMCalls& agentCalls();

}  // namespace krm
