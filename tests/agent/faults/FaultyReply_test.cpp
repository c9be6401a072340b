#include "agent/faults/FaultyReply.h"

#include <gtest/gtest.h>

#include <ostream>

#include "tests/agent/AgentFixture.h"
#include "tests/agent/LibraryClient.h"

namespace varnock::agent::test {
namespace {

using namespace std::chrono_literals;

class Delays : public testing::Test {
  protected:
    std::chrono::microseconds delay(const std::string& text) {
        const Fault fault = parseFaultRule("all: " + text).fault;
        return faultyReply(fault, wholeReply(kNumberReply), random_).steps.at(0).delay;
    }
    std::mt19937_64 random_{1};
};

TEST_F(Delays, AreDrawnFromTheirDistribution) {
    EXPECT_EQ(delay("delay 200ms"), 200ms);
    EXPECT_EQ(delay("twice"), 0s);
    double sum = 0;
    for (int i = 0; i < 1000; ++i) {
        const auto uniform = delay("delay uniform 100ms 300ms");
        EXPECT_GE(uniform, 100ms);
        EXPECT_LE(uniform, 300ms);
        const auto normal = delay("delay normal 200ms 150ms");
        EXPECT_GE(normal, 0s);
        sum += std::chrono::duration<double>(normal).count();
    }
    EXPECT_NEAR(sum / 1000, 0.2, 0.03);
}

/// What the library makes of a reply with a fault.
struct Case {
    const char* fault;
    std::vector<unsigned> statuses;
};
void PrintTo(const Case& each, std::ostream* out) {
    *out << each.fault;
}
constexpr unsigned kMissing = 22;
constexpr unsigned kBroken = 9;
constexpr unsigned kHungUp = 6;
constexpr unsigned kLate = 15;

const Case kCases[] = {
    {"status 25", {25}},
    {"status 0x40009", {0x40009}},
    {"delay 200ms", {0}},
    {"delay uniform 1s 5s", {0}},
    {"delay 31s", {kLate}},
    {"silence", {kLate}},
    {"close before", {kHungUp, kBroken}},
    {"close inside", {kHungUp, kBroken}},
    {"close after", {0, kHungUp}},
    {"truncated", {kBroken}},
    {"oversized", {kBroken}},
    {"garbage", {kMissing}},
    {"nested", {kMissing}},
    {"types", {kMissing}},
    {"missing", {kMissing}},
    {"missing DA", {0}},
    {"missing OC", {0}},
    {"doubled", {0}},
    {"doubled DA", {0}},
    {"null", {0}},
    {"null ST", {kMissing}},
    {"utf8", {0}},
    {"huge", {0}},
    {"huge, smallbuffer", {0}},
    {"smallbuffer", {0}},
    {"dribble", {0}},
    {"dribble 10ms", {0}},
    {"huge, dribble", {0}},
    {"split 3 100ms", {0}},
    {"twice", {0}},
};

class RepliesWithFaults : public testing::TestWithParam<Case> {};

TEST_P(RepliesWithFaults, EndTheCallAsTheLibraryPromises) {
    FakeMachine machine;
    LibraryClient library(machine);
    EXPECT_EQ(library.ask(FakeMachine::kNumber), kNumberReply);
    library.server().faults().add(std::string("all times=1: ") + GetParam().fault);
    SipJson record(FakeMachine::kNumber, 0, 0, 0, SipJson::noStatus);
    const unsigned status = library.request(record);
    EXPECT_TRUE(std::count(GetParam().statuses.begin(), GetParam().statuses.end(), status) == 1)
        << status;
    // Within its two time limits and the ten attempts.
    EXPECT_LT(library.now(), 72s);
    EXPECT_EQ(library.server().faults().all().front().hits, 1U);
    EXPECT_EQ(library.ask(FakeMachine::kNumber), kNumberReply);
}

INSTANTIATE_TEST_SUITE_P(Agent, RepliesWithFaults, testing::ValuesIn(kCases));

/// Twenty replies that differ in kind and length.
class TwentyReplies final : public Machine {
  public:
    Answer answer(const Command& command) override {
        const unsigned size = command.opcode;
        switch (command.opcode % 4) {
            case 0:
                return size * 12'345'678U;
            case 1:
                return std::string(size, 'x') + "\"\\ \xC3\xA4";
            case 2:
                return Answer::Bytes(size, static_cast<unsigned char>(size));
            default:
                return static_cast<Status>(size);
        }
    }
};

TEST(SplitReplies, GiveTheSameValueWhereverTheyAreSplit) {
    TwentyReplies machine;
    LibraryClient library(machine);
    for (unsigned opcode = 1; opcode <= 20; ++opcode) {
        const std::string whole = library.ask(opcode);
        for (std::size_t offset = 0; offset <= frameSize(whole); ++offset) {
            library.server().faults().clear();
            library.server().faults().add("all: split " + std::to_string(offset) + " 1ms");
            ASSERT_EQ(library.ask(opcode), whole) << offset;
        }
        library.server().faults().clear();
    }
}

}  // namespace
}  // namespace varnock::agent::test
