#include "agent/Control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;

class AgentControl : public AgentServer {
  protected:
    AgentControl() { start(); }
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

TEST_F(AgentControl, PushesAnEventToThoseWhoHaveRegistered) {
    EXPECT_EQ(ask("event " + event(1)), "ok listeners: 0\n");
    Client listener(events());
    sendAll(listener, encodeFrame(registrationText(0x1200, "listener")));
    ASSERT_TRUE(reply(listener));
    EXPECT_EQ(ask("event " + event(2)), "ok listeners: 1\n");
    EXPECT_EQ(reply(listener), event(2));
}

TEST_F(AgentControl, TellsWhatTheAgentIsDoing) {
    Client request(requests());
    Client listener(events());
    Client other(events());
    sendAll(listener, encodeFrame(registrationText(0x1200, "listener")));
    ask("event " + event(1));
    EXPECT_EQ(ask("status "), "ok directory: " + directory_.path().string() +
                                  "\nprocess: " + std::to_string(getpid()) +
                                  "\nrequest connections: 1\nevent connections: 2\n"
                                  "registered for events: 1\nevents pushed: 1\n");
    EXPECT_EQ(ask("status").substr(0, 3), "ok ");
}

TEST_F(AgentControl, RefusesWhatItDoesNotKnow) {
    for (const char* request : {"", "dance", "statuses", "event", "EVENT {}", " status"}) {
        EXPECT_EQ(ask(request), "error no such request") << request;
    }
    for (const char* request :
         {"event ", "event {}", "event no record", R"(event {"SIP":{"V":1,"CMD":[{"OE":1}]}})"}) {
        EXPECT_EQ(ask(request), "error no command record") << request;
    }
    EXPECT_EQ(server_->eventsPushed(), 0U);
}

TEST_F(AgentControl, RefusesAnEventThatGrowsBeyondAFrame) {
    // Each of these numbers is written with more digits than it was received with.
    std::string numbers = "1E9";
    for (int count = 1; count < 100'000; ++count) {
        numbers += ",1E9";
    }
    EXPECT_EQ(ask(R"(event {"SIP":{"V":1,"CMD":[{"OC":1,"DA":[)" + numbers + "]}]}}"),
              "error frame too long");
    EXPECT_EQ(ask("event " + event(1)), "ok listeners: 0\n");
}

TEST_F(AgentControl, RequestsOfTheLibraryAreNotForThisSocket) {
    machine_.calls = 0;
    EXPECT_EQ(ask(requestText(FakeMachine::kNumber)), "error no such request");
    EXPECT_EQ(machine_.calls, 0);
}

}  // namespace
}  // namespace varnock::agent::test
