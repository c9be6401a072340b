#include "agent/faults/FaultRule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/Refusal.h"

namespace varnock::agent {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

std::string refusalOf(const std::string& text) {
    try {
        static_cast<void>(parseFaultRule(text));
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "";
}

TEST(FaultRule, HasConditions) {
    const FaultMatch match = parseFaultRule(
                                 "getNumberFans object=2 cabinet=0x1 connection=3 nth=4 times=5 "
                                 "probability=25% seed=7 until=1.5s: silence")
                                 .match;
    EXPECT_EQ(match.opcode, 0x0300U);
    EXPECT_EQ(match.ext, 0U);
    EXPECT_EQ(match.object, 2U);
    EXPECT_EQ(match.cabinet, 1U);
    EXPECT_EQ(match.connection, 3U);
    EXPECT_EQ(match.nth, 4U);
    EXPECT_EQ(match.times, 5U);
    EXPECT_EQ(match.probability, 0.25);
    EXPECT_EQ(match.seed, 7U);
    EXPECT_EQ(match.until, 1500ms);
    EXPECT_EQ(parseFaultRule("registration: silence").match.opcode, 0xFFA0U);
    EXPECT_EQ(parseFaultRule("opcode=768 ext=1: silence").match.ext, 1U);
    EXPECT_EQ(parseFaultRule(" all :silence").match.opcode, std::nullopt);
}

TEST(FaultRule, HasFaults) {
    const Fault fault =
        parseFaultRule("all: status 25, delay uniform 10ms 2s, missing DA, split 5 1us").fault;
    EXPECT_EQ(fault.status, 25U);
    EXPECT_EQ(fault.delay.shape, FaultDelay::Shape::uniform);
    EXPECT_EQ(fault.delay.first, 10ms);
    EXPECT_EQ(fault.delay.second, 2s);
    EXPECT_EQ(fault.record, Fault::Record::missing);
    EXPECT_EQ(fault.member, "DA");
    EXPECT_EQ(fault.bytes, Fault::Bytes::split);
    EXPECT_EQ(fault.offset, 5U);
    EXPECT_EQ(fault.interval, 1us);
    EXPECT_EQ(parseFaultRule("all: delay normal 1s 100ms").fault.delay.shape,
              FaultDelay::Shape::normal);
    EXPECT_EQ(parseFaultRule("all: close inside").fault.bytes, Fault::Bytes::closeInside);
    EXPECT_EQ(parseFaultRule("all: dribble 5ms").fault.interval, 5ms);
}

TEST(FaultRule, SaysWhichWordIsWrong) {
    EXPECT_THAT(refusalOf("getNumberFan: silence"), HasSubstr("did you mean \"getNumberFans\"?"));
    EXPECT_THAT(refusalOf("all colour=red: silence"), HasSubstr("no condition \"colour\""));
    EXPECT_THAT(refusalOf("all getNumberFans: silence"), HasSubstr("\"getNumberFans\" is not"));
    EXPECT_THAT(refusalOf("all: dance"), HasSubstr("no fault \"dance\""));
    EXPECT_THAT(refusalOf("all: silence, twice"), HasSubstr("one way only"));
    EXPECT_THAT(refusalOf("all: garbage, nested"), HasSubstr("one way only"));
    EXPECT_THAT(refusalOf("all nth=0: silence"), HasSubstr("from 1"));
    EXPECT_THAT(refusalOf("all"), HasSubstr("no colon"));
    EXPECT_THAT(refusalOf("all probability=2: silence"), HasSubstr("probability"));
    EXPECT_THAT(refusalOf("all until=5: silence"), HasSubstr("\"5\" is not a time"));
}

TEST(FaultRule, RefusesAnythingElse) {
    for (const char* text : {"",
                             ":",
                             "all:",
                             ": silence",
                             "all: ,",
                             "all: silence,",
                             "all: status",
                             "all: status x",
                             "all: status 1 2",
                             "all: delay",
                             "all: delay 1",
                             "all: delay uniform 2s 1s",
                             "all: delay uniform 1s",
                             "all: delay even 1s 2s",
                             "all: close",
                             "all: close never",
                             "all: garbage DA",
                             "all: missing ST DA",
                             "all: split",
                             "all: split x",
                             "all: dribble 1 2",
                             "all object=: silence",
                             "all object=-1: silence",
                             "all until=-1s: silence",
                             "all until=1e30s: silence",
                             "all until=nans: silence",
                             "all until=99999999999d: silence",
                             "all probability=x: silence",
                             "all =1: silence"}) {
        EXPECT_NE(refusalOf(text), "") << text;
    }
    EXPECT_NE(refusalOf(std::string(1'000'000, 'x') + ": silence"), "");
}

TEST(Duration, HasAUnit) {
    EXPECT_EQ(timeIn("50us"), 50us);
    EXPECT_EQ(timeIn("200ms"), 200ms);
    EXPECT_EQ(timeIn("0s"), 0s);
    EXPECT_EQ(timeIn("2min"), 2min);
    EXPECT_EQ(timeIn("2h"), 2h);
    EXPECT_EQ(timeIn("1d"), 24h);
    for (const char* text : {"", "s", "1", "0x1s", "1w", "1ms2"}) {
        EXPECT_THROW(static_cast<void>(timeIn(text)), Refusal) << text;
    }
}

}  // namespace
}  // namespace varnock::agent
