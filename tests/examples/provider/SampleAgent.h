#pragma once

#include <atomic>
#include <vector>

#include "tests/support/ScriptedAgent.h"

namespace varnock::test {

/// An agent with the data of one machine that the sample provider requests.
class SampleAgent {
  public:
    SampleAgent() {
        agent.handle([this](const AgentRequest& request) { return reply(request); });
    }
    /// Refuses only this command from now on; 0: no command.
    void refuse(unsigned int opcode, unsigned int ext = 0) { refused_ = (opcode << 16) + ext; }
    /// The boot time of the machine in seconds since the epoch.
    void boot(unsigned int time) { bootTime_ = time; }
    /// Reports the data of this extension as not available.
    void forget(unsigned int ext) { forgotten_ = ext; }

    /// The requests with an operation code, in order.
    std::vector<AgentRequest> requests(unsigned int opcode) const {
        std::vector<AgentRequest> found;
        for (const AgentRequest& request : agent.requests()) {
            if (request.opcode == opcode) {
                found.push_back(request);
            }
        }
        return found;
    }

  private:
    std::atomic<unsigned int> refused_ = 0;
    std::atomic<unsigned int> forgotten_ = 0;
    std::atomic<unsigned int> bootTime_ = 1'700'000'000;

  public:
    ScriptedAgent agent;

  private:
    AgentReply reply(const AgentRequest& request) {
        constexpr unsigned int refusedAccess = 0x00040009;
        if ((request.opcode << 16) + request.ext == refused_) {
            return AgentReply::status(refusedAccess);
        }
        if (request.ext != 0 && request.ext == forgotten_) {
            return AgentReply::status(19);
        }
        switch (request.opcode) {
            case 0xE204:
                return AgentReply::ok(numberData(3));
            case 0x0118:
                return AgentReply::ok(numberData(bootTime_));
            case 0x0C00:
            case 0xE001:
                return textReply(request.ext);
            case 0xE002:
            case 0x0205:
            case 0x0206:
                return AgentReply::ok();
            default:
                return AgentReply::status(19);
        }
    }
    static AgentReply textReply(unsigned int ext) {
        switch (ext) {
            case 0x0600:
                return AgentReply::ok(textData("SN-7"));
            case 0x0108:
                return AgentReply::ok(textData("Model T"));
            case 0x0201:
                return AgentReply::ok(textData("host7"));
            case 0x0204:
                return AgentReply::ok(textData("ops@example.org"));
            case 0x0210:
                return AgentReply::ok(textData("rack 7"));
            case 0x1510:
                return AgentReply::ok(textData("4c4c4544-0000"));
            default:
                return AgentReply::status(19);
        }
    }
};

}  // namespace varnock::test
