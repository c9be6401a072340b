// varnockctl watch with an agent, and through restarts of the agent.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <signal.h>

#include <memory>
#include <regex>

#include "tests/support/ScriptedAgent.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class Watch : public testing::Test {
  protected:
    Watch() { startAgent(); }

    void startAgent() {
        agent_ = std::make_unique<Subprocess>(
            std::vector<std::string>{VARNOCK_AGENT, "serve", "--dir", directory_.path()});
        awaitStatus("directory: ");
    }
    void stopAgent() {
        agent_->signal(SIGTERM);
        EXPECT_EQ(agent_->wait().status, 0);
    }
    std::unique_ptr<Subprocess> watch(std::vector<std::string> options) {
        options.insert(options.begin(), {VARNOCKCTL, "watch"});
        auto process = std::make_unique<Subprocess>(options, environment_);
        awaitWatcher();
        return process;
    }
    /// Waits until a client has registered for events.
    void awaitWatcher() { awaitStatus("registered for events: 1\n"); }
    void awaitStatus(const std::string& line) {
        while (ctl({"status"}).out.find(line) == std::string::npos) {
        }
    }
    void push(std::vector<std::string> event) {
        event.insert(event.begin(), "event");
        EXPECT_EQ(ctl(event).out, "listeners: 1\n");
    }
    ProcessResult ctl(std::vector<std::string> words) {
        words.insert(words.begin(), {VARNOCK_AGENT, "ctl"});
        return runProcess(words, environment_);
    }
    /// The output without the time before each line.
    static std::string untimed(const std::string& output) {
        static const std::regex time(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6} )");
        return std::regex_replace(output, time, "");
    }

    TemporaryDirectory directory_;
    const Subprocess::Environment environment_{{"QX_RAGD_SOCKET_DIR", directory_.path()}};
    std::unique_ptr<Subprocess> agent_;
};

TEST_F(Watch, PrintsThreeEventsAcrossARestartOfTheAgent) {
    const auto watching = watch({"--count", "3"});
    push({"systemMessageLog", "7"});
    push({"driverMonitorLog", "8"});
    EXPECT_TRUE(watching->waitForOutput("driverMonitorLog 8\n"));
    stopAgent();
    startAgent();
    awaitWatcher();
    push({"systemMessageLog", "9"});
    const ProcessResult& result = watching->wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(untimed(result.out),
                MatchesRegex("systemMessageLog 7\ndriverMonitorLog 8\n"
                             "--- no agent for [0-9]+ ms; events may be missing ---\n"
                             "systemMessageLog 9\n"));
    EXPECT_EQ(result.err,
              "varnockctl: the agent has gone; waiting for its return\n"
              "varnockctl: the agent is back\n");
}

TEST_F(Watch, ShowsOnlyWhatIsWanted) {
    const auto watching = watch(
        {"--include", "MESSAGE", "--include", "0x0001", "--exclude", "cabinet=5", "--count", "2"});
    push({"driverMonitorLog", "1"});
    push({"systemMessageLog", "2", "--cabinet", "5"});
    push({"systemMessageLog", "3"});
    push({"1", "--text", "fan"});
    EXPECT_EQ(untimed(watching->wait().out), "systemMessageLog 3\n0x0001 \"fan\"\n");
}

TEST_F(Watch, PrintsOneJsonDocument) {
    const auto watching = watch({"--count", "2", "-o", "json"});
    push({"systemMessageLog", "7"});
    // Each event is printed as soon as it arrives.
    EXPECT_TRUE(watching->waitForOutput("\"data\":7}\n"));
    push({"0x10", "--object", "3"});
    const ProcessResult& result = watching->wait();
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    ASSERT_TRUE(document.IsObject()) << result.out;
    const auto& events = document["events"];
    ASSERT_EQ(events.Size(), 2U);
    EXPECT_EQ(events[0]["event"], "systemMessageLog");
    EXPECT_EQ(events[0]["data"].GetUint(), 7U);
    EXPECT_EQ(events[1]["object"].GetUint(), 3U);
    EXPECT_TRUE(events[1]["data"].IsNull());
}

TEST_F(Watch, AnInterruptEndsItWithAWholeDocument) {
    const auto watching = watch({"-o", "json"});
    push({"systemMessageLog", "7"});
    EXPECT_TRUE(watching->waitForOutput("\"data\":7}\n"));
    watching->signal(SIGINT);
    const ProcessResult& result = watching->wait();
    EXPECT_EQ(result.status, 130);
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    EXPECT_TRUE(document.IsObject()) << result.out;
}

TEST_F(Watch, ItsTimeEndsIt) {
    const ProcessResult whole =
        runProcess({VARNOCKCTL, "watch", "--timeout", "0.01", "-o", "json"}, environment_);
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.out, "{\n    \"format_version\": 1,\n    \"events\": []\n}\n");
    const ProcessResult missing =
        runProcess({VARNOCKCTL, "watch", "--timeout", "0.01", "--count", "1"}, environment_);
    EXPECT_EQ(missing.status, 5);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(missing.err, "varnockctl: 0 of 1 events arrived within the time limit\n");
}

TEST_F(Watch, AGapIsAnItemBeforeTheEventsAfterIt) {
    const auto watching = watch({"--count", "2", "-o", "json"});
    push({"systemMessageLog", "7"});
    EXPECT_TRUE(watching->waitForOutput("\"data\":7}\n"));
    stopAgent();
    startAgent();
    awaitWatcher();
    push({"systemMessageLog", "8"});
    rapidjson::Document document;
    document.Parse(watching->wait().out.c_str());
    const auto& events = document["events"];
    ASSERT_EQ(events.Size(), 3U);
    EXPECT_TRUE(events[1]["event"].IsNull());
    EXPECT_TRUE(events[1]["gap"]["milliseconds"].IsUint());
    EXPECT_TRUE(events[1]["gap"]["events"].IsNull());
    EXPECT_EQ(events[2]["data"].GetUint(), 8U);
}

TEST_F(Watch, ShowsWhatFulfilsTheConditionUntilTheLastOne) {
    const auto watching =
        watch({"--where", "event=system* and not cabinet=5", "--until", "data>=9"});
    push({"driverMonitorLog", "9"});
    push({"systemMessageLog", "9", "--cabinet", "5"});
    push({"systemMessageLog", "3"});
    push({"systemMessageLog", "10"});
    EXPECT_EQ(untimed(watching->wait().out), "systemMessageLog 3\nsystemMessageLog 10\n");
    const ProcessResult wrong = runProcess({VARNOCKCTL, "watch", "--until", "stat=1"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.err, HasSubstr("--until: column 1: there is no field \"stat\"; the nearest "
                                     "are "));
}

TEST_F(Watch, ARowOfCsvHasOneValueOfTheData) {
    const auto watching = watch({"--count", "2", "-o", "csv"});
    push({"systemMessageLog", "7"});
    push({"1", "--text", "fan"});
    const std::string out = watching->wait().out;
    EXPECT_THAT(out, MatchesRegex("time,event,opcode,ext,object,cabinet,status,member,data\n"
                                  "[^,]*,systemMessageLog,[^\n]*,,7\n[^,]*,0x0001,[^\n]*,,fan\n"));
}

TEST_F(Watch, TheWireShowsWhatIsNotWantedToo) {
    const auto watching = watch({"--wire", "--exclude", "driver", "--count", "1"});
    push({"driverMonitorLog", "1"});
    push({"systemMessageLog", "2"});
    const ProcessResult& result = watching->wait();
    EXPECT_EQ(untimed(result.out), "systemMessageLog 2\n");
    EXPECT_THAT(result.err, HasSubstr(R"( < {"SIP":{"V":1,"CMD":[{"OC":6171,"CA":0,)"
                                      R"("ST":0,"DA":1}]}})"));
}

TEST(WatchAlone, SaysAtOnceThatThereIsNoAgent) {
    const TemporaryDirectory directory;
    const ProcessResult result =
        runProcess({VARNOCKCTL, "watch"}, {{"QX_RAGD_SOCKET_DIR", directory.path()}});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.err, HasSubstr(directory.file("ragdsj")));
}

TEST(WatchAlone, RefusesAnInvalidCount) {
    EXPECT_EQ(runProcess({VARNOCKCTL, "watch", "--count", "some"}).status, 2);
}

TEST(WatchAlone, EndsInTimeWhateverTheAgentDoes) {
    ScriptedAgent agent;
    agent.handleRegistration([](const AgentRequest&) { return AgentReply::none(); });
    const ProcessResult result = runProcess({VARNOCKCTL, "watch", "--timeout", "0.01"});
    EXPECT_EQ(result.status, 5);
}

TEST(WatchAlone, FollowsAnAgentThatHangsUpAndStays) {
    ScriptedAgent agent;
    Subprocess watching({VARNOCKCTL, "watch", "--count", "2"});
    agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = "1"});
    EXPECT_TRUE(watching.waitForOutput("systemMessageLog 1\n"));
    agent.closeConnections();
    agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = "2"});
    EXPECT_EQ(watching.wait().status, 0);
    EXPECT_THAT(watching.wait().out, HasSubstr("systemMessageLog 2\n"));
    EXPECT_EQ(watching.wait().err, "");
}

}  // namespace
}  // namespace varnock::test
