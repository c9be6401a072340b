#pragma once

#include <string>

#include "runtime/Debug.h"
#include "tests/support/ScriptedAgent.h"
#include "transport/SwitchClient.h"

namespace varnock::test {

/// Sends one command through a client of its own. True if it is answered.
inline bool isAnswered() {
    CSwitchClient client("race");
    SipJson command(0x0600, 0, 7, 0, SipJson::noStatus);
    return client.Request(command, 0, 0, 0) == 0 && command.ObjectId() == 7 &&
           command.DataDWord() == 42;
}

inline void makeEntry() {
    Debug.PrintAlways(0, "race: an entry\n");
}

/// An agent in real time that answers each command with 42.
class AnsweringAgent {
  public:
    AnsweringAgent() {
        agent_.handle([](const AgentRequest&) { return AgentReply::ok(numberData(42)); });
    }
    ScriptedAgent* operator->() { return &agent_; }

  private:
    ScriptedAgent agent_;
};

}  // namespace varnock::test
