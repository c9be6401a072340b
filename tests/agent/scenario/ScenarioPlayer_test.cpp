#include "agent/scenario/ScenarioPlayer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "agent/described/DescribedMachine.h"
#include "agent/described/ModelClocks.h"
#include "agent/model/MachineFile.h"
#include "tests/agent/AgentFixture.h"
#include "tests/support/TextFile.h"

namespace varnock::agent::test {
namespace {

using std::chrono::seconds;
using testing::HasSubstr;
using testing::IsEmpty;
using varnock::test::readFile;

Document machineOf(const std::string& name) {
    Document machine;
    loadMachine(VARNOCK_SOURCE_DIR "/examples/machines/" + name + ".json", machine);
    return machine;
}

Scenario scenarioOf(const std::string& steps) {
    return readScenario(R"({"name": "test", "steps": [)" + steps + "]}", "test.json");
}

/// A described machine with a scenario, in virtual time, and a client that asks it.
class Stage {
  public:
    explicit Stage(Scenario scenario, ServerOptions options = {})
        : machine_(machineOf(scenario.machine.empty() ? "typical" : scenario.machine),
                   systemClock()) {
        options.directory = directory_.path();
        options.clock = AgentClock::Kind::isVirtual;
        options.scenario = std::move(scenario);
        server_.emplace(loop_.get(), machine_, std::move(options));
    }

    Server& server() { return *server_; }
    const ScenarioPlayer& player() { return *server_->scenario(); }
    std::string control(const std::string& request) { return server_->control().reply(request); }
    void advance(seconds time) {
        server_->clock().advance(time);
        work();
    }
    /// Sends a command on a new connection. False if the agent closes it without an answer.
    bool ask(unsigned opcode, unsigned ext, unsigned object) {
        Client client(directory_.file("ragdsj"));
        client.send(encodeFrame(SipJson(opcode, ext, object, 0, SipJson::noStatus).Export()));
        work();
        client.receive();
        return client.text().has_value();
    }
    std::vector<std::string> reasons() {
        std::vector<std::string> all;
        for (const ScenarioPlayer::Failure& failure : player().failures()) {
            all.push_back(failure.reason);
        }
        return all;
    }

  private:
    void work() {
        while (checked(sd_event_run(loop_.get(), 0), "loop") > 0) {
        }
    }

    varnock::test::TemporaryDirectory directory_;
    EventLoop loop_ = newEventLoop();
    DescribedMachine machine_;
    std::optional<Server> server_;
};

TEST(ScenarioPlayer, CarriesOutEachStepAtItsTime) {
    Stage stage(scenarioOf(R"(
        {"at": "0 s", "set": {"path": "cabinets[0].fans[2].quality", "value": "50 %"}},
        {"at": "5 s", "set": {"path": "cabinets[0].fans[2].quality", "value": "20 %"}},
        {"at": "8 s", "reset": "cabinets[0].fans[2].quality"},
        {"at": "9 s", "fault": "all: silence"},
        {"at": "10 s", "end": true})"));
    const auto quality = [&] {
        return stage.control(R"({"verb":"get","path":"cabinets[0].fans[2].quality"})");
    };
    stage.advance(seconds(0));
    EXPECT_THAT(quality(), HasSubstr("50 %"));
    EXPECT_THAT(stage.control(R"({"verb":"overrides"})"), HasSubstr(R"("owner":"scenario")"));
    stage.advance(seconds(4));
    EXPECT_EQ(stage.player().stepsDone(), 1U);
    stage.advance(seconds(1));
    EXPECT_THAT(quality(), HasSubstr("20 %"));
    stage.advance(seconds(3));
    EXPECT_THAT(quality(), HasSubstr("96 %"));
    EXPECT_TRUE(stage.server().faults().isEmpty());
    stage.advance(seconds(10));
    EXPECT_EQ(stage.server().faults().all().size(), 1U);
    EXPECT_EQ(stage.player().stepsDone(), 5U);
    EXPECT_THAT(stage.reasons(), IsEmpty());
}

TEST(ScenarioPlayer, KeepsWhatFailed) {
    Stage stage(scenarioOf(R"(
        {"at": "1 s", "set": {"path": "cabinets[0].fan", "value": "0 rpm"}},
        {"at": "2 s", "expect": {"call": "getFanStatus", "within": "3 s"}},
        {"at": "2 s", "expect": {"call": "getCurrentFanSpeed", "within": "3 s"}},
        {"at": "6 s", "end": true})"));
    testing::internal::CaptureStderr();
    stage.advance(seconds(3));
    EXPECT_TRUE(stage.ask(0x0302, 0, 0));
    stage.advance(seconds(3));
    const std::string messages = testing::internal::GetCapturedStderr();
    ASSERT_EQ(stage.reasons().size(), 2U);
    EXPECT_THAT(stage.reasons()[0], testing::StartsWith("set: "));
    EXPECT_EQ(stage.reasons()[1], "expect: getFanStatus was asked 0 of 1 times within 3 s");
    EXPECT_EQ(stage.player().failures()[1].at, seconds(2));
    EXPECT_THAT(messages, HasSubstr("varnock-agent: scenario test: at 1 s: set: "));
    EXPECT_THAT(messages, HasSubstr("varnock-agent: scenario test: at 2 s: expect: getFanStatus"));
    const std::string status = stage.control(R"({"verb":"status"})");
    EXPECT_THAT(status, HasSubstr(R"("scenario":"test","scenarioTime":6.0,"scenarioSteps":4,)"
                                  R"("scenarioStepsDone":4,"failedExpectations":[{"at":1.0,)"));
    EXPECT_THAT(status, HasSubstr(R"({"at":2.0,"failure":"expect: getFanStatus was asked 0)"));
}

TEST(ScenarioPlayer, MayEndWhileItExpects) {
    const auto expecting = [] {
        return scenarioOf(R"(
            {"at": "0 s", "expect": {"call": "getFanStatus", "within": "3 s"}},
            {"at": "6 s", "end": true})");
    };
    { Stage(expecting()).advance(seconds(1)); }
    Stage stage(expecting());
    stage.advance(seconds(1));
    stage.server().counts().endWaits();
    EXPECT_EQ(stage.reasons().size(), 1U);
}

/// What a client asks at a second of a scenario.
struct Line {
    int second;
    unsigned opcode;
    unsigned ext;
    unsigned object;
    bool isAnswered = true;
};
struct Script {
    const char* scenario;
    std::vector<Line> lines;
    std::vector<const char*> entries;  ///< that are in the message log at the end
};

void PrintTo(const Script& script, std::ostream* out) {
    *out << script.scenario;
}

constexpr unsigned kFan = 0x0301;
constexpr unsigned kSupply = 0x0501;
constexpr unsigned kTemperature = 0x0401;
constexpr unsigned kMemory = 0x0701;
constexpr unsigned kClearLog = 0x0B03;

const std::vector<Script>& scripts() {
    static const std::vector<Script> all = {
        {"fan-failure", {{13, kFan, 0, 2}}, {"FAN 3 SYS: fan failed", "FAN 3 SYS: fan ok"}},
        {"supply-failover",
         {{8, kSupply, 0, 1}, {22, kSupply, 0, 1}},
         {"PSU 2: power supply failed", "Power supply redundancy lost",
          "Power supply redundancy restored"}},
        {"thermal-runaway",
         {{17, kTemperature, 0, 0}, {27, kTemperature, 0, 0}, {29, kTemperature, 0, 0}},
         {"above the warning threshold", "above the critical threshold", "back to normal"}},
        {"memory-error-storm",
         {{15, kMemory, 0, 0}, {22, kMemory, 0, 0}},
         {"correctable memory errors in excess", "memory module failed"}},
        {"update-with-agent-restart",
         {{4, 0x0C00, 0xA303, 0},
          {6, 0x0C00, 0xA303, 0, false},
          {7, kRegisterOpcode, 1, 0, false},
          {10, 0x0C00, 0xA303, 0}},
         {"Update of the management agent started", "Update of the management agent completed"}},
        {"log-full", {{8, kClearLog, 0, 0}, {8, kClearLog, 0, 1}}, {"Fan replaced"}},
    };
    return all;
}

class ShippedScenario : public testing::TestWithParam<Script> {
  protected:
    static Scenario shipped(const std::string& name) {
        const std::string path = VARNOCK_SOURCE_DIR "/examples/scenarios/" + name + ".json";
        return readScenario(readFile(path), path);
    }
    /// Plays it with the client of the script, second by second. Returns whether each of its lines
    /// was answered.
    static std::vector<bool> play(Stage& stage, const std::vector<Line>& lines) {
        std::vector<bool> answers;
        stage.advance(seconds(0));
        for (int second = 1; stage.player().stepsDone() < stage.player().steps(); ++second) {
            stage.advance(seconds(1));
            for (const Line& line : lines) {
                if (line.second == second) {
                    answers.push_back(stage.ask(line.opcode, line.ext, line.object));
                }
            }
        }
        return answers;
    }
};

TEST_P(ShippedScenario, RunsToItsEndWithAClientThatDoesWhatItExpects) {
    Stage stage(shipped(GetParam().scenario));
    EXPECT_EQ(stage.player().name(), GetParam().scenario);
    std::vector<bool> expected;
    for (const Line& line : GetParam().lines) {
        expected.push_back(line.isAnswered);
    }
    EXPECT_EQ(play(stage, GetParam().lines), expected);
    EXPECT_THAT(stage.reasons(), IsEmpty());
    const std::string log =
        stage.control(R"({"verb":"get","path":"cabinets[0].messageLog.entries"})");
    for (const char* entry : GetParam().entries) {
        EXPECT_THAT(log, HasSubstr(entry));
    }
}

TEST_P(ShippedScenario, FailsWithAClientThatAsksNothing) {
    Stage stage(shipped(GetParam().scenario));
    testing::internal::CaptureStderr();
    play(stage, {});
    testing::internal::GetCapturedStderr();
    EXPECT_THAT(stage.reasons(), testing::Not(IsEmpty()));
}

TEST_P(ShippedScenario, HasTheSameTranscriptInEveryRunWithOneSeed) {
    const varnock::test::TemporaryDirectory directory;
    const auto transcriptOf = [&](unsigned seed) {
        const std::string file = directory.file("t");
        testing::internal::CaptureStderr();
        Stage stage(
            shipped(GetParam().scenario),
            {.directory = {}, .seed = seed, .faults = {"all: garbage"}, .transcript = file});
        play(stage, GetParam().lines);
        testing::internal::GetCapturedStderr();
        return readFile(file);
    };
    const std::string first = transcriptOf(7);
    EXPECT_FALSE(first.empty());
    EXPECT_EQ(first, transcriptOf(7));
    EXPECT_NE(first, transcriptOf(8));
}

INSTANTIATE_TEST_SUITE_P(All, ShippedScenario, testing::ValuesIn(scripts()),
                         [](const testing::TestParamInfo<Script>& script) {
                             std::string name = script.param.scenario;
                             std::erase(name, '-');
                             return name;
                         });

TEST(ShippedScenarios, AllHaveAScript) {
    std::size_t files = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(VARNOCK_SOURCE_DIR "/examples/scenarios")) {
        files += entry.path().extension() == ".json" ? 1U : 0U;
    }
    EXPECT_EQ(files, scripts().size());
}

}  // namespace
}  // namespace varnock::agent::test
