#include "agent/AgentClock.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "agent/Refusal.h"

namespace varnock::agent {
namespace {

using namespace std::chrono_literals;

class VirtualClock : public testing::Test {
  protected:
    auto note(char letter) {
        return [this, letter] { happened_ += letter + std::to_string(clock_.now() / 1s); };
    }
    void pump() {
        while (checked(sd_event_run(loop_.get(), 0), "loop") > 0) {
        }
    }
    EventLoop loop_ = newEventLoop();
    AgentClock clock_{loop_.get(), AgentClock::Kind::isVirtual};
    std::string happened_;
};

TEST_F(VirtualClock, StandsStillUntilItIsAdvanced) {
    EXPECT_EQ(clock_.now(), 0s);
    pump();
    EXPECT_EQ(clock_.now(), 0s);
    clock_.advance(90s);
    EXPECT_EQ(clock_.now(), 90s);
    EXPECT_EQ(std::chrono::system_clock::to_time_t(clock_.calendar()), 1'767'225'690);
}

TEST_F(VirtualClock, PerformsWhatIsDueInOrderAtItsOwnTime) {
    const auto last = clock_.at(3s, note('c'));
    const auto first = clock_.at(1s, note('a'));
    const auto second = clock_.at(1s, note('b'));
    pump();
    EXPECT_EQ(happened_, "");
    clock_.advance(2s);
    EXPECT_EQ(happened_, "a1b1");
    clock_.advance(1s);
    EXPECT_EQ(happened_, "a1b1c3");
    clock_.advance(10s);
    EXPECT_EQ(happened_, "a1b1c3");
}

TEST_F(VirtualClock, AnActionMaySetTheNext) {
    AgentClock::Alarm next;
    const auto first = clock_.at(1s, [&] { next = clock_.at(2s, note('n')); });
    clock_.advance(5s);
    EXPECT_EQ(happened_, "n2");
    EXPECT_EQ(clock_.now(), 5s);
}

TEST_F(VirtualClock, WhatIsDueAtOnceHappensInTheLoop) {
    const auto due = clock_.at(0s, note('d'));
    EXPECT_EQ(happened_, "");
    pump();
    EXPECT_EQ(happened_, "d0");
}

TEST_F(VirtualClock, ForgetsAnAlarmWithoutOwner) {
    { const auto gone = clock_.at(1s, note('g')); }
    auto moved = clock_.at(1s, note('m'));
    const AgentClock::Alarm kept = std::move(moved);
    clock_.advance(2s);
    EXPECT_EQ(happened_, "m1");
}

TEST_F(VirtualClock, AnActionMayDestroyItsAlarm) {
    std::optional<AgentClock::Alarm> own;
    own = clock_.at(1s, [&] {
        own.reset();
        happened_ += 'x';
    });
    clock_.advance(1s);
    EXPECT_EQ(happened_, "x");
}

TEST_F(VirtualClock, RefusesToGoBackOrTooFar) {
    EXPECT_THROW(clock_.advance(-1s), Refusal);
    EXPECT_THROW(clock_.advance(AgentClock::Time::max()), Refusal);
    clock_.advance(24h * 36'500);
    EXPECT_THROW(clock_.advance(24h * 36'500), Refusal);
}

TEST(RealClock, PerformsWhatIsDueAndCannotBeAdvanced) {
    const EventLoop loop = newEventLoop();
    AgentClock clock(loop.get(), AgentClock::Kind::real);
    bool happened = false;
    const auto alarm = clock.at(clock.now() + 1ms, [&] { happened = true; });
    while (!happened) {
        checked(sd_event_run(loop.get(), UINT64_MAX), "loop");
    }
    EXPECT_GE(clock.now(), 1ms);
    EXPECT_THROW(clock.advance(1s), Refusal);
}

}  // namespace
}  // namespace varnock::agent
