#include "agent/recording/Relay.h"

#include <gmock/gmock.h>

#include "tests/agent/recording/RecordingFixture.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;
using Opcode = FakeMachine::Opcode;

class AgentRelay : public Recorded {
  protected:
    AgentRelay() {
        startAgent(machine_);
        startProxy();
    }
    std::string lines() const { return varnock::test::readFile(file()); }
};

TEST_F(AgentRelay, JoinsTheFramesThatArriveInPieces) {
    const Client client(socket("proxy"));
    const std::string frame = requestFrame(Opcode::kText);
    for (const char byte : frame.substr(0, frame.size() - 1)) {
        EXPECT_EQ(exchange(client, std::string(1, byte)), "");
    }
    EXPECT_NE(exchange(client, frame.substr(frame.size() - 1)), "");
    EXPECT_EQ(recording_.records(), 2U);
}

TEST_F(AgentRelay, StopsAnAgentWhoseClientDoesNotRead) {
    const Client client(socket("proxy"));
    constexpr int kRequests = 200;
    std::string requests;
    std::string replies;
    for (int i = 0; i < kRequests; ++i) {
        requests += requestFrame(Opcode::kLargeBlock);
    }
    client.send(requests);
    pump();
    EXPECT_LT(machine_.calls, kRequests);
    replies = arrived(client);
    EXPECT_EQ(machine_.calls, kRequests);
    EXPECT_EQ(replies.size() % kRequests, 0U);
    EXPECT_EQ(recording_.records(), 2U * kRequests);
}

TEST_F(AgentRelay, PassesTheEndOfAClientOn) {
    Client client(socket("proxy"));
    client.send(requestFrame(Opcode::kNumber));
    client.endSending();
    EXPECT_EQ(arrived(client), encodeFrame(kNumberReply));
    EXPECT_FALSE(client.receive());
    EXPECT_EQ(proxy_->clients(), 0U);
}

TEST_F(AgentRelay, NotesThatTheAgentHasClosed) {
    agent_->faults().add("all: close inside");
    Client client(socket("proxy"));
    const std::string part = exchange(client, requestFrame(Opcode::kNumber));
    EXPECT_FALSE(part.empty());
    EXPECT_EQ(encodeFrame(kNumberReply).substr(0, part.size()), part);
    EXPECT_FALSE(client.receive());
    EXPECT_THAT(lines(), HasSubstr(R"("direction":"out","bytes":")"));
    EXPECT_THAT(lines(), HasSubstr(R"(,"closes":true})"));
}

TEST_F(AgentRelay, NotesWhatIsNotAFrameAsBytes) {
    const Client client(socket("proxy"));
    exchange(client, std::string(8, '\xFF'));
    EXPECT_THAT(lines(), HasSubstr(R"("direction":"in","bytes":"ffffffffffffffff")"));
    EXPECT_EQ(proxy_->clients(), 0U) << "the agent has closed";
}

TEST_F(AgentRelay, TellsEventsFromReplies) {
    const Client client(socket("proxy", "ragdaj"));
    exchange(client, encodeFrame(registrationText(0x1200, "listener")));
    agent_->events().raise(SipJson(0x0B11, 0, 0, 0, 0));
    EXPECT_NE(arrived(client), "");
    EXPECT_THAT(lines(), HasSubstr(R"("channel":"events","direction":"out","record")"));
    EXPECT_THAT(lines(), HasSubstr(R"("channel":"events","direction":"event","record")"));
}

TEST_F(AgentRelay, EndsWithAClientThatGoesBeforeItsReply) {
    {
        const Client client(socket("proxy"));
        for (int i = 0; i < 100; ++i) {
            client.send(requestFrame(Opcode::kLargeBlock));
        }
    }
    pump();
    EXPECT_EQ(proxy_->clients(), 0U);
    EXPECT_EQ(agent_->connections(Channel::requests), 0U);
}

}  // namespace
}  // namespace varnock::agent::test
