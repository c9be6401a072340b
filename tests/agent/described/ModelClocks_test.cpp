#include "agent/described/ModelClocks.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

using namespace std::chrono_literals;

TEST(ModelClocks, TheSystemsTimeGoesOn) {
    const MachineModel::Clock clock = systemClock();
    const Moment first = clock();
    const Moment second = clock();
    EXPECT_GE(first.sinceStart, 0);
    EXPECT_GE(second.sinceStart, first.sinceStart);
    EXPECT_GE(second.epoch, first.epoch);
}

using ModelClocksOfAnAgent = AgentServer;

TEST_F(ModelClocksOfAnAgent, FollowItAndAreForwardInTheCalendar) {
    AgentClock agent(loop_.get(), AgentClock::Kind::isVirtual);
    const MachineModel::Clock clock = agentTime(agent);
    const MachineModel::Clock forward = agentTime(agent, 90s);
    const Moment before = clock();
    agent.advance(30s);
    EXPECT_EQ(clock().sinceStart, before.sinceStart + 30);
    EXPECT_EQ(clock().epoch, before.epoch + 30);
    EXPECT_EQ(forward().epoch, clock().epoch + 90);
    EXPECT_EQ(forward().sinceStart, clock().sinceStart);
}

}  // namespace
}  // namespace varnock::agent::test
