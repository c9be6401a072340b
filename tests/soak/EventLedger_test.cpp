#include "tests/soak/EventLedger.h"

#include <gtest/gtest.h>

namespace varnock::soak {
namespace {

using namespace std::chrono_literals;

class LedgerOfEvents : public testing::Test {
  protected:
    static constexpr int kFirst = 100;
    static constexpr int kSecond = 200;

    unsigned int send(int agent, Fate fate, std::chrono::seconds when = 0s) {
        const unsigned int number = ledger.begin(agent);
        ledger.end(fate, EventLedger::Clock::time_point(when));
        return number;
    }
    unsigned int deliver(int agent, std::chrono::seconds when = 0s) {
        return send(agent, Fate::delivered, when);
    }
    EventLedger::Figures settled() {
        ledger.settle();
        return ledger.figures();
    }

    EventLedger ledger;
};

TEST_F(LedgerOfEvents, IsInOrderWhenAllArrive) {
    for (unsigned int i = 1; i <= 5; ++i) {
        EXPECT_EQ(deliver(kFirst), i);
    }
    EXPECT_FALSE(ledger.isComplete());
    for (unsigned int i = 1; i <= 5; ++i) {
        ledger.received(i);
    }
    EXPECT_TRUE(ledger.isComplete());
    const auto figures = settled();
    EXPECT_EQ(figures.sent, 5u);
    EXPECT_EQ(figures.delivered, 5u);
    EXPECT_EQ(figures.received, 5u);
    EXPECT_EQ(figures.unregistered, 0u);
    EXPECT_TRUE(faultsOf(figures).empty());
}

TEST_F(LedgerOfEvents, NamesItsFaults) {
    EXPECT_EQ(
        faultsOf({.lost = 1, .unregistered = 2, .unordered = 3, .invented = 4}),
        (std::vector<std::string>{"1 events were lost", "3 events arrived out of order or twice",
                                  "4 events arrived that no agent had delivered"}));
}

TEST_F(LedgerOfEvents, TakesAnEventThatArrivesBeforeTheAgentSaysSo) {
    ledger.received(ledger.begin(kFirst));
    ledger.end(Fate::delivered);
    EXPECT_TRUE(ledger.isComplete());
    EXPECT_EQ(settled().lost, 0u);
}

TEST_F(LedgerOfEvents, FindsAGap) {
    deliver(kFirst);
    deliver(kFirst);
    const unsigned int last = deliver(kFirst);
    ledger.received(last);
    EXPECT_EQ(settled().lost, 2u);
}

TEST_F(LedgerOfEvents, FindsWhatIsMissingAtTheEnd) {
    ledger.received(deliver(kFirst));
    deliver(kFirst);
    EXPECT_FALSE(ledger.isComplete());
    EXPECT_EQ(settled().lost, 1u);
}

TEST_F(LedgerOfEvents, FindsWhatIsMissingOfAnAgentThatWasReplaced) {
    ledger.received(deliver(kFirst));
    deliver(kFirst);
    ledger.received(deliver(kSecond));
    EXPECT_EQ(settled().lost, 1u);
}

TEST_F(LedgerOfEvents, ExcusesAnAgentThatWasKilledWhileItRegisteredTheClient) {
    ledger.received(deliver(kFirst));
    deliver(kSecond, 0s);
    deliver(kSecond, 1s);
    ledger.received(deliver(300));
    const auto figures = settled();
    EXPECT_EQ(figures.lost, 0u);
    EXPECT_EQ(figures.unregistered, 2u);
}

TEST_F(LedgerOfEvents, ExcusesNoAgentForLong) {
    deliver(kFirst, 0s);
    deliver(kFirst, EventLedger::kDeaf + 1s);
    ledger.received(deliver(kSecond));
    EXPECT_EQ(settled().lost, 2u);
}

TEST_F(LedgerOfEvents, ExpectsNothingOfWhatTheAgentDidNotDeliver) {
    ledger.received(deliver(kFirst));
    send(kFirst, Fate::unheard);
    send(kFirst, Fate::unknown);
    EXPECT_TRUE(ledger.isComplete());
    ledger.received(deliver(kFirst));
    EXPECT_EQ(settled().lost, 0u);
}

TEST_F(LedgerOfEvents, TakesWhatMayHaveBeenDelivered) {
    ledger.received(send(kFirst, Fate::unknown));
    EXPECT_EQ(settled().invented, 0u);
}

TEST_F(LedgerOfEvents, FindsTheInvented) {
    ledger.received(send(kFirst, Fate::unheard));
    ledger.received(7);
    const unsigned int early = ledger.begin(kFirst);
    EXPECT_EQ(early, 2u);
    EXPECT_EQ(settled().invented, 2u);
}

TEST_F(LedgerOfEvents, FindsTheUnorderedAndTheDoubled) {
    const unsigned int first = deliver(kFirst);
    const unsigned int second = deliver(kFirst);
    ledger.received(second);
    ledger.received(first);
    ledger.received(second);
    const auto figures = settled();
    EXPECT_EQ(figures.unordered, 2u);
    EXPECT_EQ(figures.lost, 1u);
}

}  // namespace
}  // namespace varnock::soak
