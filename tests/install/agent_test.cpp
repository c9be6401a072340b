// A test of a program outside of the source tree, with an agent of its own.
#include <varnock/CIM/Provider/Include/KOLMCalls.h>
#include <varnock/CIM/Provider/Include/KOLMClient.h>
#include <varnock/agent/testing/AgentFixture.h>

#include <string>

namespace {

class SystemName : public varnock::AgentFixture {
  protected:
    static std::string read() {
        const auto client = provider::getKOLMClient("agent_test");
        return provider::newKOLMCalls(client.get())->getConfSystemName().value.c_str();
    }
};

TEST_F(SystemName, IsThatOfTheMachine) {
    EXPECT_EQ(read(), "alder-01");
    agent().set("system.name", "db7");
    EXPECT_EQ(read(), "db7");
}

TEST_F(SystemName, IsAgainThatOfTheMachineInTheNextTest) {
    EXPECT_EQ(read(), "alder-01");
}

}  // namespace
