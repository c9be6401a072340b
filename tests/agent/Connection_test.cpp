#include "agent/Connection.h"

#include <gtest/gtest.h>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

using AgentConnection = AgentServer;

constexpr ClientLimits kImpatient{.patience = std::chrono::milliseconds(1)};

TEST_F(AgentConnection, AnswersARequest) {
    start();
    Client client(requests());
    EXPECT_EQ(ask(client, FakeMachine::kNumber), kNumberReply);
    EXPECT_EQ(ask(client, FakeMachine::kNumber), kNumberReply);
}

TEST_F(AgentConnection, AnswersAFrameThatComesByteByByte) {
    start();
    Client client(requests());
    for (const char byte : requestFrame(FakeMachine::kNumber)) {
        EXPECT_EQ(reply(client), std::nullopt);
        sendAll(client, {&byte, 1});
    }
    EXPECT_EQ(reply(client), kNumberReply);
}

TEST_F(AgentConnection, AnswersSeveralFramesOfOneWriteInTheirOrder) {
    start();
    Client client(requests());
    sendAll(client, requestFrame(FakeMachine::kNumber) + requestFrame(0x0300) +
                        requestFrame(FakeMachine::kNumber));
    EXPECT_EQ(reply(client), kNumberReply);
    EXPECT_EQ(reply(client), R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":0,"ST":19}]}})");
    EXPECT_EQ(reply(client), kNumberReply);
}

TEST_F(AgentConnection, AnswersGarbageOfTheLargestSizeNegatively) {
    start();
    Client client(requests());
    sendAll(client, encodeFrame(std::string(kFrameLimit - kFrameHeader - 1, '[')));
    EXPECT_EQ(reply(client), R"({"SIP":{"V":1,"CMD":[{"OC":0,"CA":0,"ST":2}]}})");
    EXPECT_EQ(ask(client, FakeMachine::kNumber), kNumberReply);
}

TEST_F(AgentConnection, ClosesAtAFrameAboveTheLimit) {
    start();
    Client hostile(requests());
    Client bystander(requests());
    sendAll(hostile, std::string(4, '\xff'));
    EXPECT_TRUE(closed(hostile));
    EXPECT_EQ(ask(bystander, FakeMachine::kNumber), kNumberReply);
}

TEST_F(AgentConnection, AnswersAClientThatHasEndedSending) {
    start();
    Client client(requests());
    client.send(requestFrame(FakeMachine::kLargeBlock) + requestFrame(FakeMachine::kNumber) +
                "part");
    client.endSending();
    pump();
    EXPECT_FALSE(client.receive()) << "closed after the last reply";
    EXPECT_NE(client.text().value_or("").find("RAW"), std::string::npos);
    EXPECT_EQ(client.text(), kNumberReply);
    EXPECT_EQ(server_->connections(Channel::requests), 0U);
}

TEST_F(AgentConnection, ForgetsAClientThatLeavesInTheMiddle) {
    start();
    Client client(requests());
    sendAll(client, requestFrame(FakeMachine::kNumber).substr(0, 9));
    EXPECT_EQ(server_->connections(Channel::requests), 1U);
    client.close();
    pump();
    EXPECT_EQ(server_->connections(Channel::requests), 0U);
}

TEST_F(AgentConnection, DoesNotHoardRepliesForAClientThatOnlySends) {
    start();
    Client greedy(requests());
    constexpr int kRequests = 200;
    std::string waiting;
    for (int i = 0; i < kRequests; ++i) {
        waiting += requestFrame(FakeMachine::kLargeBlock);
    }
    waiting.erase(0, greedy.send(waiting));
    pump();
    // While replies do not fit into the socket, the machine is not called.
    EXPECT_LT(machine_.calls, kRequests / 2);
    Client bystander(requests());
    EXPECT_EQ(ask(bystander, FakeMachine::kNumber), kNumberReply);

    int replies = 0;
    while (replies < kRequests) {
        waiting.erase(0, greedy.send(waiting));
        pump();
        ASSERT_TRUE(greedy.receive());
        while (greedy.text()) {
            ++replies;
        }
    }
    EXPECT_EQ(machine_.calls, kRequests + 1);
}

TEST_F(AgentConnection, DropsAClientThatNeverReads) {
    start(kImpatient);
    Client stuck(requests());
    for (int i = 0; i < 50; ++i) {
        stuck.send(requestFrame(FakeMachine::kLargeBlock));
    }
    pumpUntil([&] { return machine_.calls > 0; });
    pumpUntil([&] { return server_->connections(Channel::requests) == 0; });
    Client next(requests());
    EXPECT_EQ(ask(next, FakeMachine::kNumber), kNumberReply);
}

TEST_F(AgentConnection, DropsAClientThatDoesNotFinishItsFrame) {
    start(kImpatient);
    Client stuck(requests());
    stuck.send(requestFrame(FakeMachine::kNumber).substr(0, 3));
    pumpUntil([&] { return server_->connections(Channel::requests) == 1; });
    pumpUntil([&] { return server_->connections(Channel::requests) == 0; });
    EXPECT_FALSE(stuck.receive());
}

TEST_F(AgentConnection, LeavesAnIdleClientAlone) {
    start(kImpatient);
    Client idle(requests());
    EXPECT_EQ(ask(idle, FakeMachine::kNumber), kNumberReply);
    Client stuck(requests());
    stuck.send("x");
    pumpUntil([&] { return server_->connections(Channel::requests) == 2; });
    pumpUntil([&] { return server_->connections(Channel::requests) == 1; });
    EXPECT_EQ(ask(idle, FakeMachine::kNumber), kNumberReply);
}

}  // namespace
}  // namespace varnock::agent::test
