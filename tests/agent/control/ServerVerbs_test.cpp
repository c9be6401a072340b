#include "agent/control/ServerVerbs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

class ServerVerbs : public AgentServer {
  protected:
    ServerVerbs() { start(); }
    std::string ask(const std::string& request) {
        Client client(controls());
        sendAll(client, encodeFrame(request));
        return reply(client).value_or("");
    }
    static std::string event(unsigned number) {
        SipJson record(0x0B11, 0, 0, 0, 0);
        record.SetDataDWord(number, 0);
        return record.Export();
    }
};

TEST_F(ServerVerbs, PushAnEventToThoseWhoHaveRegistered) {
    const std::string request = R"({"verb":"event","name":"systemMessageLog","number":)";
    EXPECT_EQ(ask(request + "1}"), R"({"ok":true,"listeners":0})");
    Client listener(events());
    sendAll(listener, encodeFrame(registrationText(0x1200, "listener")));
    ASSERT_TRUE(reply(listener));
    EXPECT_EQ(ask(request + "2}"), R"({"ok":true,"listeners":1})");
    EXPECT_EQ(reply(listener), event(2));
}

TEST_F(ServerVerbs, PushAnEventWithAllItsNumbersAndAText) {
    Client listener(events());
    sendAll(listener, encodeFrame(registrationText(0x1200, "listener")));
    ASSERT_TRUE(reply(listener));
    ask(R"({"verb":"event","name":"0x10","text":"fan","ext":1,"object":2,"cabinet":3})");
    EXPECT_EQ(reply(listener),
              R"({"SIP":{"V":1,"CMD":[{"OC":16,"OE":1,"OI":2,"CA":3,"ST":0,"DA":"fan"}]}})");
}

TEST_F(ServerVerbs, RefuseAnEventThatIsUnknownOrTooLong) {
    EXPECT_EQ(ask(R"({"verb":"event","name":"systemLog"})"),
              R"({"ok":false,"error":"there is no event \"systemLog\"; did you mean )"
              R"(\"systemMessageLog\"?"})");
    // The record of the event is a little longer than the request.
    const std::string text(kFrameLimit - 50, 'x');
    EXPECT_EQ(ask(R"({"verb":"event","name":"1","text":")" + text + R"("})"),
              R"({"ok":false,"error":"frame too long"})");
    EXPECT_EQ(server_->eventsPushed(), 0U);
}

TEST_F(ServerVerbs, ListTheEventsWithTheirArguments) {
    EXPECT_EQ(ask(R"({"verb":"events"})"),
              R"({"ok":true,"events":[{"event":"systemMessageLog","arguments":"NUMBER",)"
              R"("meaning":"the system message log has a new entry"},)"
              R"({"event":"driverMonitorLog","arguments":"NUMBER",)"
              R"("meaning":"the driver monitor log has a new entry"}]})");
}

TEST_F(ServerVerbs, TellWhatTheAgentIsDoing) {
    Client request(requests());
    Client listener(events());
    Client other(events());
    sendAll(listener, encodeFrame(registrationText(0x1200, "listener")));
    ask(R"({"verb":"event","name":"1"})");
    EXPECT_THAT(ask(R"({"verb":"status"})"),
                testing::StartsWith(R"({"ok":true,"directory":")" + directory_.path().string() +
                                    R"(","process":)" + std::to_string(getpid()) +
                                    R"(,"machine":"machine","requestConnections":1,)"
                                    R"("eventConnections":2,"registeredForEvents":1,)"
                                    R"("eventsPushed":1)"));
}

TEST_F(ServerVerbs, RequestsOfTheLibraryAreNotForThisSocket) {
    machine_.calls = 0;
    EXPECT_EQ(ask(requestText(FakeMachine::kNumber)),
              R"({"ok":false,"error":"\"verb\" is missing"})");
    EXPECT_EQ(machine_.calls, 0);
}

}  // namespace
}  // namespace varnock::agent::test
