#include "cli/trace/TraceCalls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace varnockctl {
namespace {

/// Entries "SECOND THREAD MESSAGE" of one minute.
class Calls {
  public:
    Calls& at(const char* second, char thread, const std::string& message, std::size_t source = 0) {
        const std::string line = "Nov 14 22:13:" + std::string(second) +
                                 " host App[000000000000000" + thread + "]: " + message;
        calls_.add(parseTraceEntry(line).value(), source);
        return *this;
    }
    Calls& entry(const char* second, char thread, const std::string& call) {
        return at(second, thread, "KRM_TBL             : Kolm::" + call);
    }
    Calls& reply(const char* second, char thread, const std::string& status = "0000") {
        return at(second, thread,
                  "CSwitchClient::Request: Receive response OC=0x0600, OE=0x0000, CB=0x00000000, "
                  "OI=0x00000000, Status=0x" +
                      status + ", len=64");
    }
    const std::vector<TracedCall>& found() const { return calls_.calls(); }

  private:
    TraceCalls calls_;
};

TEST(TraceCalls, ReachFromTheirEntryToTheLastReplyOnTheirThread) {
    Calls calls;
    calls.entry("20", 'A', "getNumberCPUs(0)")
        .entry("20", 'B', "getCPUModelName(cabNr=0, objId=1)")
        .reply("21", 'B')
        .reply("22", 'A')
        .reply("23", 'A', "0013")
        .entry("23", 'A', "getNumberCPUs(1)");
    ASSERT_EQ(calls.found().size(), 3U);
    const TracedCall& first = calls.found()[0];
    EXPECT_EQ(first.name, "getNumberCPUs");
    EXPECT_EQ(first.text, "getNumberCPUs(0)");
    EXPECT_EQ(first.replies, 2U);
    EXPECT_EQ(first.failures, 1U);
    EXPECT_EQ(first.end / 1'000'000 - first.begin / 1'000'000, 3);
    EXPECT_EQ(calls.found()[1].thread, "000000000000000B");
    EXPECT_EQ(calls.found()[1].replies, 1U);
    EXPECT_EQ(calls.found()[2].replies, 0U);
    EXPECT_GT(calls.found()[2].begin, first.end);
}

TEST(TraceCalls, AreOnlyTheLinesWithWhichCallsBegin) {
    Calls calls;
    calls.entry("20", 'A', "Kolm()")
        .entry("20", 'A', "getCabNrs(): ServerCabinetNr=0 (x)")
        .entry("20", 'A', "noSuchCall()")
        .entry("20", 'A', "getNumberCPUs")
        .reply("20", 'A');
    EXPECT_TRUE(calls.found().empty());
}

TEST(TraceCalls, DoNotGoBackWhenTheClockDoes) {
    Calls calls;
    calls.entry("20", 'A', "getNumberCPUs(0)").reply("10", 'A');
    EXPECT_EQ(calls.found()[0].end, calls.found()[0].begin + 1);
}

TEST(TraceCalls, AreCountedByName) {
    Calls calls;
    calls.entry("01", 'A', "getBootTime()").reply("02", 'A', "0013");
    for (const char* end : {"10", "10", "10", "14"}) {
        calls.entry("10", 'A', "getNumberCPUs(0)").reply(end, 'A');
    }
    calls.entry("15", 'A', "getNumberCPUs(0)");
    JsonDocument document;
    const Json rows = statisticsJson(calls.found(), document.GetAllocator());
    EXPECT_EQ(toString(rows, false),
              R"([{"call":"getNumberCPUs","count":5,"unanswered":1,"failed":0,"p50Seconds":0,)"
              R"("p90Seconds":4,"p99Seconds":4,"maxSeconds":4},)"
              R"({"call":"getBootTime","count":1,"unanswered":0,"failed":1,"p50Seconds":1,)"
              R"("p90Seconds":1,"p99Seconds":1,"maxSeconds":1}])");
}

TEST(TraceCalls, AreSpansOfATimeline) {
    Calls calls;
    calls.entry("20", 'A', "getNumberCPUs(0)").reply("21", 'A').entry("21", 'B', "getBootTime()");
    JsonDocument document;
    const Json timeline = timelineJson(calls.found(), document.GetAllocator());
    const auto& events = timeline["traceEvents"];
    ASSERT_EQ(events.Size(), 4U);
    EXPECT_STREQ(events[0]["ph"].GetString(), "M");
    EXPECT_STREQ(events[0]["args"]["name"].GetString(), "000000000000000A");
    EXPECT_STREQ(events[1]["name"].GetString(), "getNumberCPUs");
    EXPECT_STREQ(events[1]["ph"].GetString(), "X");
    EXPECT_EQ(events[1]["dur"].GetInt64(), 1'000'000);
    EXPECT_EQ(events[1]["tid"].GetInt(), 1);
    EXPECT_EQ(events[3]["tid"].GetInt(), 2);
    EXPECT_EQ(events[3]["dur"].GetInt64(), 0);
}

}  // namespace
}  // namespace varnockctl
