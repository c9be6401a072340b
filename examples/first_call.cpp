// Asks the agent for this machine's processors, as a provider would.
//   varnock-agent run --host -- first_call
#include <cstdio>
#include <cstring>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "transport/AgentSocket.h"

int main() {
    // Without an agent every call would try for ten minutes.
    if (const int error = ProbeAgentSocket(RequestSocketPath())) {
        std::fprintf(stderr, "no agent at %s: %s\n", RequestSocketPath().c_str(),
                     std::strerror(error));
        return 1;
    }
    try {
        const auto client = provider::getKOLMClient("first_call");
        const auto calls = provider::newKOLMCalls(client.get());
        std::printf("processors: %u\n", calls->getNumberCPUs(0));
        const auto model = calls->getCPUModelName(provider::KOLMKey(0, 0, 0));
        std::printf("model:      %s\n", model.null ? "not available" : model.value.c_str());
    } catch (const provider::BaseException& failure) {
        std::fprintf(stderr, "%s\n", failure.toString().c_str());
        return 1;
    }
}
