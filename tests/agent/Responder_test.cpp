#include "agent/Responder.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

class AgentResponder : public testing::Test {
  protected:
    std::string reply(const std::string& text) { return responder_.reply(session_, text); }
    std::string replyTo(unsigned opcode) { return reply(requestText(opcode)); }

    FakeMachine machine_;
    Responder responder_{machine_};
    Session session_{Channel::requests, 17, false, {}};
};

std::vector<unsigned char> bytesOf(const std::string& text) {
    SipJson record;
    record.Import(text.c_str());
    std::vector<unsigned char> bytes;
    record.GetDataStream(bytes);
    return bytes;
}

unsigned statusOf(const std::string& text) {
    SipJson record;
    record.Import(text.c_str());
    return record.Status();
}

TEST_F(AgentResponder, AnswersWithEachKindOfData) {
    EXPECT_EQ(replyTo(FakeMachine::kNumber), kNumberReply);
    EXPECT_EQ(replyTo(FakeMachine::kText),
              R"({"SIP":{"V":1,"CMD":[{"OC":2,"CA":0,"ST":0,"DA":"text"}]}})");
    EXPECT_EQ(replyTo(FakeMachine::kBlock),
              R"({"SIP":{"V":1,"CMD":[{"OC":3,"CA":0,"DA":{"RAW":[1,2,255]},"ST":0}]}})");
}

TEST_F(AgentResponder, EchoesTheNumbersOfANegativeAnswerWithoutData) {
    SipJson record(0x0300, 5, 6, 7, 0);
    record.SetDataDWord(9, 0);
    EXPECT_EQ(reply(record.Export()),
              R"({"SIP":{"V":1,"CMD":[{"OC":768,"OE":5,"OI":6,"CA":7,"ST":19}]}})");
}

TEST_F(AgentResponder, RefusesRecordsThatAreNotCommands) {
    for (const char* text :
         {"", "x", "{", "5", "[]", "null", R"({"SIP":5})", R"({"SIP":{"CMD":[]}})",
          R"({"SIP":{"CMD":[5]}})", R"({"SIP":{"CMD":[{}]}})", R"({"SIP":{"CMD":[{"OC":"text"}]}})",
          R"({"SIP":{"CMD":[{"OC":-1}]}})"}) {
        EXPECT_EQ(reply(text), R"({"SIP":{"V":1,"CMD":[{"OC":0,"CA":0,"ST":2}]}})") << text;
    }
    EXPECT_EQ(machine_.calls, 0);
}

TEST_F(AgentResponder, SurvivesDeepNesting) {
    EXPECT_EQ(statusOf(reply(std::string(500'000, '['))), 2U);
    EXPECT_EQ(statusOf(reply(R"({"SIP":)" + std::string(200'000, '{'))), 2U);
}

TEST_F(AgentResponder, TurnsFailuresOfTheMachineIntoNegativeAnswers) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(replyTo(FakeMachine::kThrows), R"({"SIP":{"V":1,"CMD":[{"OC":6,"CA":0,"ST":1}]}})");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "varnock-agent: command 0x0006: broken\n");
    EXPECT_EQ(replyTo(FakeMachine::kNoMemory),
              R"({"SIP":{"V":1,"CMD":[{"OC":7,"CA":0,"ST":17}]}})");
}

TEST_F(AgentResponder, AnswersWithoutDataWhenTheReplyFitsNoFrame) {
    EXPECT_EQ(replyTo(FakeMachine::kTooLarge),
              R"({"SIP":{"V":1,"CMD":[{"OC":5,"CA":0,"ST":17}]}})");
}

TEST_F(AgentResponder, RegistersAClientAndTellsItTheDescriptor) {
    const auto options = bytesOf(reply(registrationText(0x1100, "CIM_Provider")));
    ASSERT_EQ(options.size(), 224U);
    EXPECT_STREQ(reinterpret_cast<const char*>(options.data()), "CIM_Provider");
    std::vector<unsigned char> rest(options.begin() + 64, options.end());
    std::vector<unsigned char> expected(rest.size());
    expected[4] = 17;
    EXPECT_EQ(rest, expected);
    EXPECT_TRUE(session_.registered);
    EXPECT_EQ(session_.client, "CIM_Provider");
    EXPECT_EQ(machine_.calls, 0);
}

TEST_F(AgentResponder, TakesANameWithoutEnd) {
    EXPECT_EQ(statusOf(reply(registrationText(0x1100, std::string(100, 'n')))), 0U);
    EXPECT_EQ(session_.client, std::string(64, 'n'));
}

TEST_F(AgentResponder, RefusesAnInvalidRegistration) {
    EXPECT_EQ(statusOf(reply(registrationText(0x1200, "events"))), 2U);
    EXPECT_EQ(statusOf(reply(registrationText(0x1100, "short", 223))), 2U);
    EXPECT_EQ(statusOf(reply(registrationText(0x1100, "long", 225))), 2U);
    EXPECT_EQ(statusOf(reply(SipJson(0xFFA0, 0x1100, 0, 0, SipJson::noStatus).Export())), 2U);
    EXPECT_FALSE(session_.registered);
    session_.channel = Channel::events;
    EXPECT_EQ(statusOf(reply(registrationText(0x1100, "requests"))), 2U);
    EXPECT_EQ(statusOf(reply(registrationText(0x1200, "events"))), 0U);
}

}  // namespace
}  // namespace varnock::agent::test
