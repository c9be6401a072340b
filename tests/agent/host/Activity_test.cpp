#include "agent/host/Activity.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

TEST(LoadMeter, BeginsWithTheLoadSinceTheStart) {
    LoadMeter meter;
    EXPECT_EQ(meter.percent(0, {250, 1000}), 25U);
}

TEST(LoadMeter, MeasuresFromOneQuestionToTheNext) {
    LoadMeter meter;
    meter.percent(0, {250, 1000});
    EXPECT_EQ(meter.percent(0, {350, 1100}), 100U);
    EXPECT_EQ(meter.percent(0, {350, 1200}), 0U);
    EXPECT_EQ(meter.percent(1, {10, 20}), 50U) << "each processor has its own";
}

TEST(LoadMeter, RepeatsItselfWhileTooLittleTimeHasGoneBy) {
    LoadMeter meter;
    meter.percent(0, {250, 1000});
    EXPECT_EQ(meter.percent(0, {259, 1009}), 25U);
    EXPECT_EQ(meter.percent(0, {260, 1010}), 100U) << "measured from the last answer given";
}

TEST(LoadMeter, StartsAnewWhenTheCountersRunBackwards) {
    LoadMeter meter;
    meter.percent(0, {900, 1000});
    EXPECT_EQ(meter.percent(0, {10, 100}), 10U);
    EXPECT_EQ(meter.percent(0, {5, 200}), 2U);
}

TEST(LoadMeter, AnswersWithNothingCounted) {
    LoadMeter meter;
    EXPECT_EQ(meter.percent(0, {0, 0}), 0U);
}

TEST(Activity, KnowsThisHost) {
    Activity activity;
    const auto memory = activity.memoryUsedPercent();
    ASSERT_TRUE(memory);
    EXPECT_LE(*memory, 100U);
    const auto load = activity.cpuUsedPercent(0);
    ASSERT_TRUE(load);
    EXPECT_LE(*load, 100U);
    EXPECT_EQ(activity.cpuUsedPercent(100'000), std::nullopt);
}

TEST(Activity, KnowsTheTimeOfTheStart) {
    Activity activity;
    const std::string stat = readFile("/proc/stat").value_or("");
    const std::size_t place = stat.find("\nbtime ");
    ASSERT_NE(place, std::string::npos);
    const std::string text =
        trimmed(stat.substr(place + 7, stat.find('\n', place + 1) - place - 7));
    EXPECT_EQ(activity.bootTime(), parseDecimal(text));
    EXPECT_LE(*activity.bootTime(), static_cast<unsigned>(time(nullptr)));
}

}  // namespace
}  // namespace varnock::agent
