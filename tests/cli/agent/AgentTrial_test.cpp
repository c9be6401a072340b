#include "cli/agent/AgentTrial.h"

#include <gtest/gtest.h>

#include "tests/support/ScriptedAgent.h"

namespace varnockctl {
namespace {

using varnock::test::AgentReply;
using varnock::test::AgentRequest;
using varnock::test::numberData;
using varnock::test::ScriptedAgent;

constexpr std::chrono::minutes kPatience(1);

TEST(AgentTrial, TellsTheStatusOfTheReply) {
    for (const unsigned int status : {0U, 19U, 24U}) {
        ScriptedAgent agent;
        agent.expect({.opcode = 0xE204, .reply = AgentReply::status(status, numberData(0))});
        AgentTrial trial;
        const auto result = trial.await(kPatience);
        ASSERT_TRUE(result);
        EXPECT_EQ(result->status, status);
        EXPECT_GT(result->roundTrip.count(), 0);
    }
}

TEST(AgentTrial, TellsThatTheAgentHangsUp) {
    ScriptedAgent agent;
    agent.expect({.opcode = 0xE204, .reply = AgentReply::none().thenClose()});
    AgentTrial trial;
    const auto result = trial.await(kPatience);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->status == 6 || result->status == 9) << result->status;
}

TEST(AgentTrial, LeavesAnAgentThatIsStuck) {
    ScriptedAgent agent;
    agent.expect({.opcode = 0xE204, .reply = AgentReply::none()});
    AgentTrial trial;
    EXPECT_EQ(trial.await(std::chrono::milliseconds(1)), std::nullopt);
    agent.awaitRequests(1);
    agent.closeConnections();
}

}  // namespace
}  // namespace varnockctl
