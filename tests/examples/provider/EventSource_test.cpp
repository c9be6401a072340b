#include "examples/provider/EventSource.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>

#include "tests/support/FakeClock.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using krm::LogEvent;
using Outcome = krm::EventSource::Outcome;

class EventSource : public testing::Test {
  protected:
    void pushEvent(unsigned int opcode, const std::string& data) {
        agent.pushEvent({.opcode = opcode, .status = 0, .data = data});
    }

    FakeClock clock;
    ScriptedAgent agent{clock};
    krm::EventSource source;
    LogEvent event{};
};

TEST_F(EventSource, GivesTheEntriesOfBothLogs) {
    ASSERT_TRUE(source.open());
    const auto options = agent.registrations().at(0).bytes();
    EXPECT_NE(std::string(options.begin(), options.end()).find("KRM_sample_provider"),
              std::string::npos);
    pushEvent(0x0B11, numberData(41));
    ASSERT_EQ(source.next(event), Outcome::event);
    EXPECT_EQ(event.kind, LogEvent::entry);
    EXPECT_STREQ(event.logName, "System Message Log");
    EXPECT_EQ(event.number, 41U);
    pushEvent(0x181B, numberData(42));
    ASSERT_EQ(source.next(event), Outcome::event);
    EXPECT_STREQ(event.logName, "Driver Monitor Log");
    EXPECT_EQ(event.number, 42U);
    source.close();
}

TEST_F(EventSource, OtherEventsAreNothing) {
    ASSERT_TRUE(source.open());
    pushEvent(0x0B12, numberData(1));
    EXPECT_EQ(source.next(event), Outcome::nothing);
    pushEvent(0x0B11, "");
    EXPECT_EQ(source.next(event), Outcome::nothing);
    source.close();
}

TEST_F(EventSource, AnAbsentAgentIsFoundOutAtOnce) {
    agent.stop();
    EXPECT_FALSE(source.open());
    agent.start();
    EXPECT_TRUE(source.open());
    source.close();
}

TEST_F(EventSource, KnowsWhenTheAgentGoesAndFindsItAgain) {
    ASSERT_TRUE(source.open());
    agent.closeConnections();
    EXPECT_EQ(source.next(event), Outcome::closed);
    source.close();
    ASSERT_TRUE(source.open());
    pushEvent(0x0B11, numberData(7));
    EXPECT_EQ(source.next(event), Outcome::event);
    EXPECT_EQ(event.number, 7U);
    source.close();
}

TEST_F(EventSource, AChannelThatWasReplacedIsALoss) {
    ASSERT_TRUE(source.open());
    agent.push(AgentReply::raw("\x40"));
    ASSERT_EQ(source.next(event), Outcome::event);
    EXPECT_EQ(event.kind, LogEvent::entriesLost);
    EXPECT_EQ(event.number, 0U);
    agent.awaitOpenConnections(1);
    pushEvent(0x0B11, numberData(8));
    ASSERT_EQ(source.next(event), Outcome::event);
    EXPECT_EQ(event.number, 8U);
    source.close();
}

TEST_F(EventSource, AnEventThatCannotBeReadIsALoss) {
    ASSERT_TRUE(source.open());
    agent.push(AgentReply::json("["));
    ASSERT_EQ(source.next(event), Outcome::event);
    EXPECT_EQ(event.kind, LogEvent::entriesLost);
    source.close();
}

TEST_F(EventSource, WakingEndsEveryWaiting) {
    ASSERT_TRUE(source.open());
    std::thread waker([this] { source.wake(); });
    EXPECT_EQ(source.next(event), Outcome::woken);
    waker.join();
    EXPECT_EQ(source.next(event), Outcome::woken);
    source.close();
    source.pause(std::chrono::hours(1));
}

TEST_F(EventSource, ALaterOneWaitsForItsTurn) {
    ASSERT_TRUE(source.open());
    std::promise<void> begun;
    std::thread later([&] {
        krm::EventSource second;
        begun.set_value();
        EXPECT_TRUE(second.open());
        second.close();
    });
    begun.get_future().wait();
    source.close();
    later.join();
    const auto registrations = agent.registrations();
    ASSERT_EQ(registrations.size(), 2U);
    EXPECT_NE(registrations[0].connection, registrations[1].connection);
}

}  // namespace
}  // namespace varnock::test
