#include "agent/faults/FaultRules.h"

#include <gtest/gtest.h>

#include "agent/Refusal.h"

namespace varnock::agent {
namespace {

using namespace std::chrono_literals;

class AgentFaultRules : public testing::Test {
  protected:
    /// The rules that hit a number of equal commands, 0 for none.
    std::string hits(int commands, const FaultTarget& target = {0x0300, 0, 2, 0, 1}) {
        std::string numbers;
        for (int i = 0; i < commands; ++i) {
            const auto* const rule = rules_.match(target);
            numbers += std::to_string(rule == nullptr ? 0 : rule->number);
        }
        return numbers;
    }
    EventLoop loop_ = newEventLoop();
    AgentClock clock_{loop_.get(), AgentClock::Kind::isVirtual};
    FaultRules rules_{clock_, 1};
};

TEST_F(AgentFaultRules, MatchEachNumberOfACommand) {
    rules_.add("opcode=0x0300 ext=0 object=2 cabinet=0 connection=1: silence");
    EXPECT_EQ(hits(1), "1");
    for (const FaultTarget& other :
         {FaultTarget{0x0301, 0, 2, 0, 1}, FaultTarget{0x0300, 1, 2, 0, 1},
          FaultTarget{0x0300, 0, 3, 0, 1}, FaultTarget{0x0300, 0, 2, 1, 1},
          FaultTarget{0x0300, 0, 2, 0, 2}}) {
        EXPECT_EQ(hits(1, other), "0");
    }
}

TEST_F(AgentFaultRules, CountTheCommands) {
    rules_.add("all nth=3: silence");
    EXPECT_EQ(hits(6), "001000");
    rules_.clear();
    rules_.add("all nth=2 times=3: silence");
    EXPECT_EQ(hits(6), "022200");
    rules_.clear();
    rules_.add("all times=2: silence");
    EXPECT_EQ(hits(4), "3300");
}

TEST_F(AgentFaultRules, ComeBehindThoseOfAState) {
    rules_.add("all times=1: silence");
    FaultRules::State state = rules_.state();
    state.added = 6;
    rules_.clear();
    rules_.add("all: twice");
    rules_.restore(std::move(state));
    EXPECT_EQ(hits(3), "177");
}

TEST_F(AgentFaultRules, AreRefusedWhenNoNumberIsLeft) {
    rules_.restore({.added = 4294967294});
    EXPECT_EQ(rules_.add("all: twice"), 4294967295U);
    EXPECT_THROW(rules_.add("all: twice"), Refusal);
}

TEST_F(AgentFaultRules, TheFirstThatIsLeftDecides) {
    rules_.add("all times=1: silence");
    rules_.add("getNumberFans times=2: twice");
    rules_.add("all: status 1");
    EXPECT_EQ(hits(5), "12233");
    rules_.remove(3);
    EXPECT_EQ(hits(1), "0");
    EXPECT_THROW(rules_.remove(3), Refusal);
    EXPECT_EQ(rules_.add("all: twice"), 4U);
}

TEST_F(AgentFaultRules, EndAtTheirTime) {
    rules_.add("all until=30s: silence");
    EXPECT_EQ(hits(1), "1");
    clock_.advance(29s);
    EXPECT_EQ(hits(1), "1");
    clock_.advance(1s);
    EXPECT_EQ(hits(1), "0");
}

TEST_F(AgentFaultRules, AreDrawnWithTheirSeed) {
    rules_.add("all probability=50% seed=5: silence");
    const std::string first = hits(40);
    EXPECT_NE(first.find('0'), std::string::npos);
    EXPECT_NE(first.find('1'), std::string::npos);
    FaultRules again(clock_, 99);
    again.add("all probability=0.5 seed=5: silence");
    std::string second;
    for (int i = 0; i < 40; ++i) {
        second += again.match({0x0300, 0, 2, 0, 1}) != nullptr ? '1' : '0';
    }
    EXPECT_EQ(first, second);
    rules_.clear();
    rules_.add("all probability=0: silence");
    EXPECT_EQ(hits(20), std::string(20, '0'));
}

TEST_F(AgentFaultRules, LeaveRegistrationsAloneUnlessTheyAreNamed) {
    rules_.add("all: silence");
    EXPECT_EQ(hits(1, {0xFFA0, 0x1100, 0, 0, 1}), "0");
    rules_.add("registration: silence");
    EXPECT_EQ(hits(1, {0xFFA0, 0x1200, 0, 0, 1}), "2");
}

}  // namespace
}  // namespace varnock::agent
