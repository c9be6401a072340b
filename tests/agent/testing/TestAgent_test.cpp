#include "agent/testing/TestAgent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "agent/testing/AgentFixture.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "transport/AgentSocket.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

/// A client of its own for each test.
class Client {
  public:
    provider::KOLMCalls& operator*() const { return *calls_; }
    provider::KOLMCalls* operator->() const { return calls_.get(); }
    provider::KOLMClient& client() const { return *client_; }

  private:
    ShPtr<provider::KOLMClient> client_ = provider::getKOLMClient("test");
    ShPtr<provider::KOLMCalls> calls_ = provider::newKOLMCalls(client_.get());
};

std::string systemName(const Client& client) {
    return client->getConfSystemName().value.c_str();
}

/// The reason for which an operation fails.
template <class Operation>
std::string failureOf(Operation operation) {
    try {
        operation();
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "no failure";
}

TEST(TestAgent, AnswersTypedCallsForAMachineThatComesWithTheAgent) {
    const TestAgent agent("degraded");
    const Client client;
    EXPECT_EQ(client->getNumberFans(0), 6U);
    EXPECT_EQ(agent.get("cabinets[0].fans[2].status"), "failed");
}

TEST(TestAgent, AnswersForTheMachineOfAFile) {
    const TemporaryDirectory directory;
    std::ofstream(directory.file("mine.json")) << R"({"system": {"name": "from a file"}})";
    const TestAgent agent(directory.file("mine.json"));
    EXPECT_EQ(systemName(Client()), "from a file");
}

TEST(TestAgent, AnswersForTheMachineOfAText) {
    const TestAgent agent(R"({"system": {"name": "from a text"}})");
    EXPECT_EQ(systemName(Client()), "from a text");
}

TEST(TestAgent, DoesNotKnowWhatTheTextDoesNotHave) {
    const TestAgent agent(R"({"cabinets": [{"number": 0, "fans": [{"speed": "900 rpm"}]}]})");
    const Client client;
    EXPECT_EQ(client->getCurrentFanSpeed(KOLMKey(0, 0, 0)), 900U);
    EXPECT_EQ(client->getConfSystemName().null, 1);
}

TEST(TestAgent, RefusesAMachineThatIsWrong) {
    EXPECT_THAT(failureOf([] { const TestAgent agent("unknown"); }),
                HasSubstr("no machine is named unknown"));
    EXPECT_THAT(
        failureOf([] { const TestAgent agent(R"({"system": {"nam": "x"}})"); }),
        HasSubstr("machine:1:13: system: expected a member that a machine has, found \"nam\""));
    EXPECT_THAT(failureOf([] { const TestAgent agent("./missing.json"); }),
                HasSubstr("./missing.json: No such file"));
    // The next one is not affected.
    const TestAgent agent;
    EXPECT_EQ(Client()->getNumberCPUs(0), 2U);
}

TEST(TestAgent, SetsAndResetsValues) {
    const TestAgent agent;
    const Client client;
    const std::string before = agent.get("system.name");
    agent.set("system.name", "db7");
    EXPECT_EQ(agent.get("system.name"), "db7");
    EXPECT_EQ(systemName(client), "db7");
    agent.reset("system.name");
    EXPECT_EQ(systemName(client), before);
    EXPECT_THAT(failureOf([&] { agent.set("system.nam", "db7"); }),
                HasSubstr("did you mean \"system.name\"?"));
    EXPECT_THAT(failureOf([&] { agent.reset("system.name"); }),
                HasSubstr("system.name is not overridden"));
}

TEST(TestAgent, GivesValuesThatAreNoTextsAsJson) {
    const TestAgent agent(R"({"cabinets": [{"number": 0, "messageLog": {"available": true}}]})");
    EXPECT_EQ(agent.get("cabinets[0].messageLog.available"), "true");
}

TEST(TestAgent, MakesRepliesFailUntilTheRuleIsRemoved) {
    const TestAgent agent;
    const Client client;
    const unsigned int rule = agent.fault("getNumberCPUs: status 25");
    agent.fault("getConfSystemName: status 19");
    EXPECT_EQ(client->getNumberCPUs(0), 0U);
    agent.clearFault(rule);
    EXPECT_EQ(client->getNumberCPUs(0), 2U);
    EXPECT_EQ(client->getConfSystemName().null, 1);
    agent.clearFaults();
    EXPECT_EQ(client->getConfSystemName().null, 0);
    EXPECT_THAT(failureOf([&] { agent.fault("getNumberCPU: status 25"); }),
                HasSubstr("getNumberCPUs"));
}

class Listener final : public provider::KOLMEventsListener {
  public:
    virtual ~Listener() = default;
    void onSystemMessageLogEntry(cimple::uint32 number) override { arrived.set_value(number); }
    void onDriverMonitorLogEntry(cimple::uint32) override {}

    std::promise<unsigned int> arrived;
};

TEST(TestAgent, SendsEventsToRegisteredClients) {
    const TestAgent agent;
    EXPECT_EQ(agent.event("systemMessageLog", {7}), 0U);
    Listener listener;
    const Client client;
    client.client().events()->setListener(&listener);
    ASSERT_TRUE(client.client().events()->enableEvents());
    while (agent.event("systemMessageLog", {8}) == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(listener.arrived.get_future().get(), 8U);
    client.client().events()->disableEvents();
    client.client().events()->setListener(nullptr);
}

TEST(TestAgent, MovesAVirtualClockOn) {
    const TestAgent agent("typical", TestClock::isVirtual);
    const Client client;
    const unsigned int before = client->getSystemTime(KOLMKey(0, 0, 0));
    agent.advance("1 h");
    EXPECT_EQ(client->getSystemTime(KOLMKey(0, 0, 0)), before + 3600);
}

TEST(TestAgent, DoesNotMoveTheRealClock) {
    const TestAgent agent;
    EXPECT_THAT(failureOf([&] { agent.advance("1 h"); }), HasSubstr("clock"));
}

TEST(TestAgent, TellsWhatClientsSentAndReceived) {
    const TestAgent agent;
    const Client client;
    EXPECT_THAT(agent.transcript(), Not(Contains(HasSubstr("\"OC\":1536"))));
    EXPECT_EQ(client->getNumberCPUs(0), 2U);
    EXPECT_THAT(agent.transcript(), Contains(HasSubstr("\"OC\":1536")));
}

TEST(TestAgent, TakesEveryRequestOfTheControlSocket) {
    const TestAgent agent;
    EXPECT_THAT(agent.control(R"({"verb": "status"})"), HasSubstr("\"machine\":\"typical\""));
    EXPECT_THAT(agent.control("{}"), HasSubstr("\"ok\":false"));
}

TEST(TestAgent, ManyOneAfterTheOtherServeTheSameThread) {
    std::optional<Client> lasting;
    for (int i = 0; i < 5; ++i) {
        const std::string name = "machine " + std::to_string(i);
        const TestAgent agent(R"({"system": {"name": ")" + name + "\"}}");
        // A client of this agent, and one that was there before.
        EXPECT_EQ(systemName(Client()), name);
        if (lasting) {
            EXPECT_EQ(systemName(*lasting), name);
        } else {
            lasting.emplace();
        }
    }
}

TEST(TestAgent, IsTheOnlyOneAtATime) {
    const TestAgent agent;
    EXPECT_THAT(failureOf([] { const TestAgent second; }), HasSubstr(agent.directory()));
    EXPECT_EQ(Client()->getNumberCPUs(0), 2U);
}

TEST(TestAgent, EndsAndStartsAgainWithTheStateOfItsMachine) {
    TestAgent agent;
    agent.set("system.name", "db7");
    agent.stop();
    agent.stop();
    EXPECT_NE(ProbeAgentSocket(RequestSocketPath()), 0);
    EXPECT_THAT(failureOf([&] { static_cast<void>(agent.get("system.name")); }),
                HasSubstr("cannot reach an agent"));
    agent.start();
    agent.start();
    EXPECT_EQ(ProbeAgentSocket(RequestSocketPath()), 0);
    EXPECT_EQ(systemName(Client()), "db7");
}

TEST(TestAgent, ServesSeveralThreads) {
    const TestAgent agent;
    const Client client;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < 20; ++call) {
                EXPECT_EQ(client->getNumberCPUs(0), 2U);
                EXPECT_EQ(agent.get("system.status"), "ok");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(TestAgent, LeavesItsDirectoryToTheProcessThatMadeIt) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    const TestAgent agent;
    const pid_t child = fork();
    if (child == 0) {
        exit(0);  // with the destructors of global objects
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Client()->getNumberCPUs(0), 2U);
}

TEST(TestAgent, LeavesNoFileBehind) {
    const TemporaryDirectory parent;
    const ProcessResult result =
        runProcess({std::filesystem::read_symlink("/proc/self/exe"),
                    "--gtest_filter=TestAgent.AnswersForTheMachineOfAText"},
                   {{"TMPDIR", parent.path()}});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(std::filesystem::is_empty(parent.path()));
}

class Fixture : public AgentFixture {
  protected:
    Fixture() : AgentFixture(R"({"system": {"name": "fixture"}})") {}
    Client client;
};

TEST_F(Fixture, HasAnAgentForItsTest) {
    EXPECT_EQ(systemName(client), "fixture");
    agent().set("system.name", "changed");
}

TEST_F(Fixture, HasAnotherOneForTheNextTest) {
    EXPECT_EQ(systemName(client), "fixture");
}

}  // namespace
}  // namespace varnock::test
