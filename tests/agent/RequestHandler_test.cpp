#include "agent/RequestHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/AgentFixture.h"
#include "tests/support/TextFile.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;

/// Says why it has no value.
class ReasonableMachine final : public Machine {
  public:
    Answer answer(const Command&) override {
        ++commands;
        Answer answer(Status::noSuchObject);
        answer.reason = "there is no fan 9";
        answer.path = "cabinets/0/fans/9";
        return answer;
    }
    int commands = 0;
};

class AgentRequestHandler : public testing::Test {
  protected:
    /// The bytes of the whole reply.
    std::string bytes() {
        std::string all;
        for (const ReplyStep& step : handler_.plan(session_, requestText(0x0300)).steps) {
            all += step.bytes;
        }
        return all;
    }
    varnock::test::TemporaryDirectory directory_;
    EventLoop loop_ = newEventLoop();
    AgentClock clock_{loop_.get(), AgentClock::Kind::isVirtual};
    ReasonableMachine machine_;
    FaultRules rules_{clock_, 1};
    Transcript transcript_{clock_};
    CallCounts counts_{clock_};
    RequestHandler handler_{machine_, rules_, counts_, transcript_};
    Session session_{Channel::requests, 17, false, {}, 1};
};

TEST_F(AgentRequestHandler, AnswersAsTheMachineDoes) {
    EXPECT_EQ(bytes(), encodeFrame(R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":0,"ST":25}]}})"));
}

TEST_F(AgentRequestHandler, AStatusOfARuleKeepsTheCommandFromTheMachine) {
    rules_.add("all times=1: status 4");
    EXPECT_EQ(bytes(), encodeFrame(R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":0,"ST":4}]}})"));
    EXPECT_EQ(machine_.commands, 0);
    bytes();
    EXPECT_EQ(machine_.commands, 1);
}

TEST_F(AgentRequestHandler, OtherRulesLetTheMachineCarryOutTheCommand) {
    rules_.add("all: silence");
    EXPECT_EQ(bytes(), "");
    EXPECT_EQ(machine_.commands, 1);
}

TEST_F(AgentRequestHandler, NotesRequestAndReplyInTheTranscript) {
    transcript_.start(directory_.file("t"));
    rules_.add("all times=1: close inside");
    bytes();
    bytes();
    std::string lines = varnock::test::readFile(directory_.file("t"));
    EXPECT_THAT(lines, HasSubstr(R"("direction":"in","record":{"SIP")"));
    EXPECT_THAT(lines, HasSubstr(R"("rule":1,"steps":1,"delay":0,"closes":true,)"));
    EXPECT_THAT(lines, HasSubstr(R"("record":{"SIP":{"V":1,"CMD":[{"OC":768,"CA":0,"ST":25}]}},)"
                                 R"("path":"cabinets/0/fans/9","reason":"there is no fan 9"})"));
}

}  // namespace
}  // namespace varnock::agent::test
