#include "cli/trace/TraceTime.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

class TraceTime : public testing::Test {
  protected:
    TraceTime() {
        setenv("TZ", "UTC0", 1);
        tzset();
    }

    /// 2026-03-01 12:00:00 UTC.
    static constexpr time_t kNow = 1772366400;
};

TEST_F(TraceTime, AnEntryIsOfThisYearOrOfTheLast) {
    EXPECT_EQ(isoTime(kNow), "2026-03-01T12:00:00");
    EXPECT_EQ(isoTime(*traceTime("Mar  1 11:59:59", kNow)), "2026-03-01T11:59:59");
    EXPECT_EQ(isoTime(*traceTime("Jan 31 00:00:01", kNow)), "2026-01-31T00:00:01");
    // The clocks of writer and reader may differ slightly.
    EXPECT_EQ(isoTime(*traceTime("Mar  2 11:00:00", kNow)), "2026-03-02T11:00:00");
    EXPECT_EQ(isoTime(*traceTime("Mar  3 00:00:00", kNow)), "2025-03-03T00:00:00");
    EXPECT_EQ(isoTime(*traceTime("Dec 31 23:59:59", kNow)), "2025-12-31T23:59:59");
}

TEST_F(TraceTime, RejectsInvalidTimes) {
    EXPECT_FALSE(traceTime("mmm dd hh:mm:ss", kNow));
    EXPECT_FALSE(traceTime("", kNow));
}

TEST_F(TraceTime, AMomentIsGivenAsPeopleDo) {
    EXPECT_EQ(isoTime(parseMoment("2026-02-27 10:30:15", kNow)), "2026-02-27T10:30:15");
    EXPECT_EQ(isoTime(parseMoment("2026-02-27T10:30", kNow)), "2026-02-27T10:30:00");
    EXPECT_EQ(isoTime(parseMoment("2026-02-27", kNow)), "2026-02-27T00:00:00");
    EXPECT_EQ(isoTime(parseMoment("10:30", kNow)), "2026-03-01T10:30:00");
    EXPECT_EQ(isoTime(parseMoment("10:30:59", kNow)), "2026-03-01T10:30:59");
    EXPECT_EQ(parseMoment("90s", kNow), kNow - 90);
    EXPECT_EQ(parseMoment("15m", kNow), kNow - 15 * 60);
    EXPECT_EQ(parseMoment("2h", kNow), kNow - 2 * 3600);
    EXPECT_EQ(parseMoment("3d", kNow), kNow - 3 * 24 * 3600);
}

TEST_F(TraceTime, AnythingElseIsAUsageError) {
    for (const char* text : {"", "m", "15", "15x", "-1m", "soon", "2026-13-01", "10:30 tomorrow"}) {
        try {
            parseMoment(text, kNow);
            ADD_FAILURE() << text;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status(), ExitStatus::usage);
        }
    }
}

}  // namespace
}  // namespace varnockctl
