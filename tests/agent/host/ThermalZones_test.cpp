#include "agent/host/ThermalZones.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

class ThermalZoneFacts : public testing::Test {
  protected:
    void write(const std::string& path, const std::string& content) {
        const auto file = std::filesystem::path(root_.path()) / "sys/class/thermal" / path;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << content << "\n";
    }

    varnock::test::TemporaryDirectory root_;
    ThermalZones zones_{root_.path()};
};

TEST_F(ThermalZoneFacts, ListsTheZonesByTheirNumbers) {
    EXPECT_TRUE(zones_.list().empty());
    write("thermal_zone10/type", "x86_pkg_temp");
    write("thermal_zone2/type", "acpitz");
    write("thermal_zone3/temp", "1");
    write("thermal_zone4x/type", "no number");
    write("cooling_device0/type", "Processor");
    const auto zones = zones_.list();
    ASSERT_EQ(zones.size(), 2U);
    EXPECT_EQ(zones[0].type, "acpitz");
    EXPECT_EQ(zones[0].number, 2U);
    EXPECT_EQ(zones[1].type, "x86_pkg_temp");
}

TEST_F(ThermalZoneFacts, ReadsTheTemperatureAndTheTripPoints) {
    write("thermal_zone0/temp", "61500");
    write("thermal_zone0/trip_point_0_type", "passive");
    write("thermal_zone0/trip_point_0_temp", "55000");
    write("thermal_zone0/trip_point_1_type", "hot");
    write("thermal_zone0/trip_point_1_temp", "61000");
    write("thermal_zone0/trip_point_2_type", "critical");
    write("thermal_zone0/trip_point_2_temp", "105000");
    const TemperatureSensor sensor = zones_.sensor({"acpitz", 0});
    EXPECT_EQ(sensor.name, "acpitz");
    EXPECT_EQ(sensor.celsius, 61.5);
    EXPECT_EQ(sensor.warning, 61);
    EXPECT_EQ(sensor.critical, 105);
    EXPECT_EQ(sensor.health, Health::warning);
}

TEST_F(ThermalZoneFacts, LacksWhatItCannotRead) {
    write("thermal_zone0/temp", "hot");
    write("thermal_zone0/trip_point_0_type", "critical");
    EXPECT_EQ(zones_.sensor({"x", 0}).celsius, std::nullopt);
    EXPECT_EQ(zones_.sensor({"x", 0}).critical, std::nullopt);
    EXPECT_EQ(zones_.sensor({"x", 0}).health, std::nullopt);
    write("thermal_zone1/temp", "-5000");
    EXPECT_EQ(zones_.sensor({"x", 1}).celsius, -5);
    EXPECT_EQ(zones_.sensor({"x", 7}).celsius, std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
