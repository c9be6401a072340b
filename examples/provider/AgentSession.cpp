#include "AgentSession.h"

#include <string.h>
#include "CIM/Provider/Include/Exceptions.h"
#include "transport/AgentSocket.h"

#include <string>

namespace krm {
namespace {

void requireAgent(const std::string& path) {
    const int error = ProbeAgentSocket(path);
    if (error != 0) {
        const std::string text = "the agent cannot be reached at " + path + ": " + strerror(error);
        provider::traceAndThrow(
            provider::BaseException(__FILE__, __LINE__, cimple::String(text.c_str())));
    }
}

// The client and the calls are deliberately never destroyed. After its last client is destroyed, a
// process cannot send requests again, but a CIM server may unload this module and load it again.

provider::KOLMClient& client() {
    static auto* const kept =
        new ShPtr<provider::KOLMClient>(provider::getKOLMClient("KRM_sample_provider"));
    return **kept;
}

provider::KOLMCalls& calls() {
    static auto* const kept = new ShPtr<provider::KOLMCalls>(provider::newKOLMCalls(&client()));
    return **kept;
}

}  // namespace

provider::KOLMCalls& agentCalls() {
    requireAgent(RequestSocketPath());
    return calls();
}

}  // namespace krm
