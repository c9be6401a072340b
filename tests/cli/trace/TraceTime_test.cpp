#include "cli/trace/TraceTime.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "cli/filter/Moment.h"

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

}  // namespace
}  // namespace varnockctl
