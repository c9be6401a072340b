#include "cli/filter/Moment.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

class Moment : public testing::Test {
  protected:
    Moment() { useZone("UTC0"); }

    static void useZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    /// 2026-03-01 12:00:00 UTC.
    static constexpr time_t kNow = 1772366400;
};

TEST_F(Moment, AMomentIsGivenAsPeopleDo) {
    EXPECT_EQ(isoTime(parseMoment("2026-02-27 10:30:15", kNow, "--since")), "2026-02-27T10:30:15");
    EXPECT_EQ(isoTime(parseMoment("2026-02-27T10:30", kNow, "--since")), "2026-02-27T10:30:00");
    EXPECT_EQ(isoTime(parseMoment("2026-02-27", kNow, "--since")), "2026-02-27T00:00:00");
    EXPECT_EQ(isoTime(parseMoment("10:30", kNow, "--since")), "2026-03-01T10:30:00");
    EXPECT_EQ(isoTime(parseMoment("10:30:59", kNow, "--since")), "2026-03-01T10:30:59");
    EXPECT_EQ(parseMoment("90s", kNow, "--since"), kNow - 90);
    EXPECT_EQ(parseMoment("15m", kNow, "--since"), kNow - 15 * 60);
    EXPECT_EQ(parseMoment("2h", kNow, "--since"), kNow - 2 * 3600);
    EXPECT_EQ(parseMoment("3d", kNow, "--since"), kNow - 3 * 24 * 3600);
}

TEST_F(Moment, AnythingElseIsAUsageError) {
    for (const char* text : {"", "m", "15", "15x", "-1m", "soon", "2026-13-01", "10:30 tomorrow"}) {
        try {
            parseMoment(text, kNow, "--since");
            ADD_FAILURE() << text;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status(), ExitStatus::usage);
        }
    }
}

TEST_F(Moment, IsoTimesAreReadAsTheyAreWritten) {
    EXPECT_EQ(isoSeconds(isoTime(kNow)), kNow);
    useZone("EST5");
    EXPECT_EQ(isoSeconds(isoTime(kNow - 1)), kNow - 1);
    EXPECT_EQ(isoSeconds("2026-03-01T12:00:00.5"), kNow + 5 * 3600 + 0.5);
    EXPECT_EQ(isoSeconds("2026-03-01T12:00:00Z"), kNow);
    EXPECT_EQ(isoSeconds("2026-03-01T12:00:00.250000Z"), kNow + 0.25);
}

TEST_F(Moment, OtherTextsAreNoIsoTimes) {
    for (const char* text : {"", "12:00:00", "2026-03-01", "2026-03-01T12:00:00x",
                             "2026-03-01T12:00:00.", "2026-03-01T12:00:00.5ZZ", "7"}) {
        EXPECT_FALSE(isoSeconds(text)) << text;
    }
}

}  // namespace
}  // namespace varnockctl
