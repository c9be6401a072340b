#include "agent/control/ExpectVerbs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;

constexpr const char* kExpectFan =
    R"({"verb":"expect","call":"getFanStatus","object":2,"times":2,"within":"5s"})";

class ExpectVerbs : public AgentServer {
  protected:
    ExpectVerbs() {
        server_ = std::make_unique<Server>(
            loop_.get(), machine_,
            ServerOptions{.directory = directory_.path(), .clock = AgentClock::Kind::isVirtual});
        client_.emplace(requests());
    }
    std::string control(const std::string& request) { return server_->control().reply(request); }
    void askFan(unsigned object, unsigned opcode = 0x0301, unsigned ext = 0) {
        sendAll(*client_, encodeFrame(SipJson(opcode, ext, object, 0, SipJson::noStatus).Export()));
        EXPECT_TRUE(reply(*client_));
    }

    std::optional<Client> client_;  ///< connected as soon as the server listens
};

TEST_F(ExpectVerbs, ListCallsByTheirNames) {
    EXPECT_EQ(control(R"({"verb":"calls"})"), R"({"ok":true,"calls":[]})");
    askFan(2);
    askFan(2);
    control(R"({"verb":"advance","by":"1500ms"})");
    askFan(0, 0x0533, 4);
    askFan(0, 0x0533, 5);
    askFan(7, 0xABCD, 1);
    EXPECT_EQ(control(R"({"verb":"calls"})"),
              R"({"ok":true,"calls":[{"call":"0xABCD ext 0x0001","object":7,"times":1,"last":1.5},)"
              R"({"call":"getFanStatus","object":2,"times":2,"last":0.0},)"
              R"({"call":"getPowerConsumptionCurrentValue","object":0,"times":2,"last":1.5}]})");
}

TEST_F(ExpectVerbs, CountNoRegistrations) {
    sendAll(*client_, encodeFrame(registrationText(1, "test")));
    EXPECT_EQ(control(R"({"verb":"calls"})"), R"({"ok":true,"calls":[]})");
}

TEST_F(ExpectVerbs, TellHowManyCommandsAreNotListed) {
    for (unsigned object = 0; object <= CallCounts::kMost; ++object) {
        server_->counts().note({0x0301, 0, object});
    }
    EXPECT_THAT(control(R"({"verb":"calls"})"), testing::EndsWith(R"(],"others":1})"));
}

TEST_F(ExpectVerbs, AnswerWhenTheCallHasComeSoOften) {
    Client waiting(controls());
    sendAll(waiting, encodeFrame(kExpectFan));
    askFan(2);
    askFan(1);
    EXPECT_EQ(reply(waiting), std::nullopt);
    askFan(2);
    EXPECT_EQ(reply(waiting), R"({"ok":true,"call":"getFanStatus","times":2})");
    sendAll(waiting, encodeFrame(R"({"verb":"transcript"})"));
    EXPECT_THAT(reply(waiting).value_or(""), HasSubstr(R"("ok":true)"));
}

TEST_F(ExpectVerbs, FailAfterTheTimeOfTheAgent) {
    Client waiting(controls());
    sendAll(waiting, encodeFrame(kExpectFan));
    askFan(2);
    control(R"({"verb":"advance","by":"4s"})");
    EXPECT_EQ(reply(waiting), std::nullopt);
    control(R"({"verb":"advance","by":"1s"})");
    EXPECT_EQ(reply(waiting),
              R"({"ok":false,"error":"getFanStatus was asked 1 of 2 times within 5s"})");
}

TEST_F(ExpectVerbs, SurviveAClientThatDoesNotWait) {
    for (const bool isMet : {true, false}) {
        Client waiting(controls());
        sendAll(waiting, encodeFrame(kExpectFan));
        waiting.close();
        pump();
        EXPECT_EQ(server_->connections(Channel::control), 0U);
        askFan(2);
        if (isMet) {
            askFan(2);
        }
        control(R"({"verb":"advance","by":"6s"})");
        pump();
    }
    EXPECT_THAT(control(R"({"verb":"calls"})"), HasSubstr(R"("times":3)"));
}

TEST_F(ExpectVerbs, AnAgentThatEndsLeavesItsClientsWithoutAnAnswer) {
    Client waiting(controls());
    sendAll(waiting, encodeFrame(kExpectFan));
    server_.reset();
    EXPECT_FALSE(waiting.receive());
}

TEST_F(ExpectVerbs, RefuseWhatCannotBeExpected) {
    EXPECT_THAT(control(R"({"verb":"expect","call":"getFanState","within":"5s"})"),
                HasSubstr(R"(did you mean \"getFanStatus\"?)"));
    EXPECT_THAT(control(R"({"verb":"expect","within":"5s"})"), HasSubstr("missing"));
    EXPECT_THAT(control(R"({"verb":"expect","call":"getFanStatus"})"), HasSubstr("missing"));
    EXPECT_THAT(control(R"({"verb":"expect","call":"getFanStatus","within":"soon"})"),
                HasSubstr("is not a time"));
    EXPECT_THAT(control(R"({"verb":"expect","call":"getFanStatus","within":"5s","times":0})"),
                HasSubstr("at least 1"));
}

}  // namespace
}  // namespace varnock::agent::test
