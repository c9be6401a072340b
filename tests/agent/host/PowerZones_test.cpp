#include "agent/host/PowerZones.h"

#include <gtest/gtest.h>

#include "tests/agent/host/EnergyFiles.h"

namespace varnock::agent {
namespace {

using namespace std::chrono_literals;

class PowerZoneFacts : public testing::Test {
  protected:
    EnergyFiles files_;
    PowerZones zones_{files_.root()};
    const PowerZones::Time start_ = PowerZones::Time() + 24h;
    const PowerZone package_{"package-0", "intel-rapl:0"};
};

TEST_F(PowerZoneFacts, ListsZonesWithACounter) {
    EXPECT_TRUE(zones_.list(start_).empty());
    files_.zone("intel-rapl:0", "package-0", 5);
    files_.zone("intel-rapl:0:0", "dram", 5);
    files_.zone("intel-rapl-mmio:0", "package-0", 5);
    files_.write("intel-rapl/enabled", "1");
    files_.write("dtpm/name", "group");
    const auto zones = zones_.list(start_);
    ASSERT_EQ(zones.size(), 2U);
    EXPECT_EQ(zones[0].name, "package-0");
    EXPECT_EQ(zones[1].directory, "intel-rapl:0:0");
}

TEST_F(PowerZoneFacts, MeasuresThePowerSinceThePreviousReading) {
    files_.zone("intel-rapl:0", "package-0", 1000000);
    EXPECT_EQ(zones_.watts(package_, start_), std::nullopt) << "one reading gives no power";
    files_.zone("intel-rapl:0", "package-0", 201000000);
    EXPECT_EQ(zones_.watts(package_, start_ + 1s), 200);
    files_.zone("intel-rapl:0", "package-0", 251000000);
    EXPECT_EQ(zones_.watts(package_, start_ + 2s), 50);
}

TEST_F(PowerZoneFacts, TakesAFirstReadingWithTheList) {
    files_.zone("intel-rapl:0", "package-0", 0);
    EXPECT_EQ(zones_.list(start_).size(), 1U);
    files_.zone("intel-rapl:0", "package-0", 100000000);
    EXPECT_EQ(zones_.watts(package_, start_ + 2s), 50);
}

TEST_F(PowerZoneFacts, RepeatsThePowerForReadingsTooCloseTogether) {
    files_.zone("intel-rapl:0", "package-0", 0);
    EXPECT_EQ(zones_.watts(package_, start_), std::nullopt);
    EXPECT_EQ(zones_.watts(package_, start_ + 9ms), std::nullopt);
    files_.zone("intel-rapl:0", "package-0", 100000000);
    EXPECT_EQ(zones_.watts(package_, start_ + 1s), 100);
    files_.zone("intel-rapl:0", "package-0", 100000001);
    EXPECT_EQ(zones_.watts(package_, start_ + 1s + 9ms), 100);
}

TEST_F(PowerZoneFacts, CountsOnWhenTheCounterStartsOver) {
    files_.zone("intel-rapl:0", "package-0", 262000000);
    files_.write("intel-rapl:0/max_energy_range_uj", "262143328850");
    EXPECT_EQ(zones_.watts(package_, start_), std::nullopt);
    files_.write("intel-rapl:0/max_energy_range_uj", "263000000");
    files_.zone("intel-rapl:0", "package-0", 9000000);
    EXPECT_EQ(zones_.watts(package_, start_ + 1s), 10);
}

TEST_F(PowerZoneFacts, LacksThePowerIfTheCounterWentBackForAnotherReason) {
    files_.zone("intel-rapl:0", "package-0", 100);
    EXPECT_EQ(zones_.watts(package_, start_), std::nullopt);
    files_.zone("intel-rapl:0", "package-0", 50);
    EXPECT_EQ(zones_.watts(package_, start_ + 1s), std::nullopt) << "no range";
    files_.write("intel-rapl:0/max_energy_range_uj", "40");
    files_.zone("intel-rapl:0", "package-0", 10);
    EXPECT_EQ(zones_.watts(package_, start_ + 2s), std::nullopt) << "beyond the range";
}

TEST_F(PowerZoneFacts, StartsAgainAfterALongTime) {
    files_.zone("intel-rapl:0", "package-0", 0);
    EXPECT_EQ(zones_.watts(package_, start_), std::nullopt);
    files_.zone("intel-rapl:0", "package-0", 120000000);
    EXPECT_EQ(zones_.watts(package_, start_ + 121s), std::nullopt);
    files_.zone("intel-rapl:0", "package-0", 130000000);
    EXPECT_EQ(zones_.watts(package_, start_ + 122s), 10);
}

TEST_F(PowerZoneFacts, LacksAPowerThatItMayNotRead) {
    EXPECT_EQ(zones_.watts(package_, start_), std::nullopt);
    files_.write("intel-rapl:0/energy_uj", "many");
    EXPECT_EQ(zones_.watts(package_, start_), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
