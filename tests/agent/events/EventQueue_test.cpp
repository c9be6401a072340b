#include "agent/events/EventQueue.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

/// Raises two events with every answer.
class TalkativeMachine final : public FakeMachine {
  public:
    void attach(const Services& services) override { events_ = &services.events; }
    Answer answer(const Command& command) override {
        raiseLogEntry(*events_, varnock::EventOpcode::systemMessageLog, ++raised);
        raiseLogEntry(*events_, varnock::EventOpcode::systemMessageLog, ++raised);
        return FakeMachine::answer(command);
    }
    unsigned raised = 0;

  private:
    EventSink* events_ = nullptr;
};

class AgentEvents : public AgentServer {
  protected:
    void join(Client& listener) {
        sendAll(listener, encodeFrame(registrationText(0x1200, "listener")));
        ASSERT_TRUE(reply(listener));
    }
    static unsigned numberIn(const std::string& text) {
        SipJson record;
        record.Import(text.c_str());
        return record.DataDWord();
    }
    /// Reads what has come and checks that it continues the numbers.
    static void readOn(Client& listener, unsigned& seen) {
        ASSERT_TRUE(listener.receive());
        while (const auto text = listener.text()) {
            ASSERT_EQ(numberIn(*text), ++seen);
        }
    }
};

TEST_F(AgentEvents, OfAnAnswerComeAfterTheReply) {
    TalkativeMachine machine;
    server_ = std::make_unique<Server>(loop_.get(), machine,
                                       ServerOptions{.directory = directory_.path()});
    Client both(events());
    join(both);
    sendAll(both, requestFrame(FakeMachine::kNumber));
    EXPECT_EQ(reply(both), kNumberReply);
    EXPECT_EQ(numberIn(both.text().value_or("")), 1U);
    EXPECT_EQ(numberIn(both.text().value_or("")), 2U);
    EXPECT_EQ(both.text(), std::nullopt);
    server_.reset();  // before the machine
}

TEST_F(AgentEvents, AHundredThousandReachEightClientsInOrder) {
    constexpr unsigned kEvents = 100'000;
    start();
    std::vector<Client> listeners;
    for (int i = 0; i < 8; ++i) {
        join(listeners.emplace_back(events()));
    }
    for (unsigned number = 1; number <= kEvents; ++number) {
        raiseLogEntry(server_->events(), varnock::EventOpcode::systemMessageLog, number);
    }
    std::array<unsigned, 8> seen{};
    // The clients read a little later than the agent sends.
    while (server_->events().size() > 0) {
        checked(sd_event_run(loop_.get(), 0), "loop");
        for (std::size_t i = 0; i < listeners.size(); ++i) {
            readOn(listeners[i], seen[i]);
        }
    }
    pump();
    for (std::size_t i = 0; i < listeners.size(); ++i) {
        readOn(listeners[i], seen[i]);
        EXPECT_EQ(seen[i], kEvents);
    }
}

TEST_F(AgentEvents, AClientThatDoesNotReadIsCutOffAndDelaysNobody) {
    start({.queuedEvents = 10'000});
    Client reader(events());
    Client stuck(events());
    join(reader);
    join(stuck);
    constexpr unsigned kEvents = 10'000;
    for (unsigned number = 1; number <= kEvents; ++number) {
        raiseLogEntry(server_->events(), varnock::EventOpcode::systemMessageLog, number);
    }
    unsigned seen = 0;
    while (seen < kEvents) {
        checked(sd_event_run(loop_.get(), 0), "loop");
        readOn(reader, seen);
    }
    EXPECT_EQ(server_->listeners(), 1U);
    EXPECT_FALSE(stuck.receive());
}

TEST_F(AgentEvents, WithoutClientsAreDropped) {
    start();
    raiseLogEntry(server_->events(), varnock::EventOpcode::driverMonitorLog, 1);
    EXPECT_EQ(server_->events().size(), 1U);
    pump();
    EXPECT_EQ(server_->events().size(), 0U);
    Client late(events());
    join(late);
    EXPECT_EQ(reply(late), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent::test
