#include <gtest/gtest.h>

#include "tests/agent/host/FakeSensors.h"
#include "tests/agent/host/HostQuestions.h"

namespace varnock::agent {
namespace {

class SensorAnswers : public RecordedHost {
  protected:
    FakeSensors fake_;
    FakeSensors::Chip& chip_ = fake_.add("chip", "chip-isa-0290");
};

TEST_F(SensorAnswers, HasNoneWithoutSensors) {
    for (const unsigned opcode : {0x0300U, 0x0301U, 0x0302U, 0x0304U, 0x0400U, 0x0401U, 0x0402U,
                                  0x0404U, 0x0520U, 0x0521U, 0x0522U, 0x0523U, 0x0524U}) {
        expectNegative(ask(machine_, opcode));
    }
    expectNegative(ask(machine_, kConfiguration, 0x0090));
    expectNegative(ask(machine_, kConfiguration, 0x0091));
}

TEST_F(SensorAnswers, AnswersOfAFan) {
    FakeSensors::add(chip_, SENSORS_FEATURE_FAN, "CPU fan",
                     {{SENSORS_SUBFEATURE_FAN_INPUT, 5399.6}, {SENSORS_SUBFEATURE_FAN_MIN, 600}});
    FakeSensors::add(chip_, SENSORS_FEATURE_FAN, "Odd fan", {{SENSORS_SUBFEATURE_FAN_INPUT, 7e4}});
    EXPECT_EQ(number(ask(machine_, 0x0300)), 2U);
    EXPECT_EQ(number(ask(machine_, 0x0301)), 1U);
    EXPECT_EQ(number(ask(machine_, 0x0302)), 5400U);
    EXPECT_EQ(text(ask(machine_, 0x0304)), "chip-isa-0290 CPU fan");
    expectNegative(ask(machine_, 0x0301, 0, 1));
    expectNegative(ask(machine_, 0x0302, 0, 1));
    EXPECT_EQ(text(ask(machine_, 0x0304, 0, 1)), "chip-isa-0290 Odd fan");
    expectNegative(ask(machine_, 0x0304, 0, 2));
    expectNegative(ask(machine_, 0x0313));
}

TEST_F(SensorAnswers, AnswersOfATemperature) {
    FakeSensors::add(chip_, SENSORS_FEATURE_TEMP, "Inlet",
                     {{SENSORS_SUBFEATURE_TEMP_INPUT, 41.4},
                      {SENSORS_SUBFEATURE_TEMP_MAX, 40},
                      {SENSORS_SUBFEATURE_TEMP_CRIT, 55.6}});
    FakeSensors::add(chip_, SENSORS_FEATURE_TEMP, "Outside",
                     {{SENSORS_SUBFEATURE_TEMP_INPUT, -12}});
    EXPECT_EQ(number(ask(machine_, 0x0400)), 2U);
    EXPECT_EQ(number(ask(machine_, 0x0401)), 2U);
    EXPECT_EQ(number(ask(machine_, 0x0402)), 41U);
    EXPECT_EQ(text(ask(machine_, 0x0404)), "chip-isa-0290 Inlet");
    EXPECT_EQ(number(ask(machine_, kConfiguration, 0x0090)), 40U);
    EXPECT_EQ(number(ask(machine_, kConfiguration, 0x0091)), 56U);
    expectNegative(ask(machine_, 0x0402, 0, 1));
    expectNegative(ask(machine_, 0x0403));
}

TEST_F(SensorAnswers, AddsTheThermalZonesThatAreNoSensors) {
    FakeSensors::add(chip_, SENSORS_FEATURE_TEMP, "Inlet", {{SENSORS_SUBFEATURE_TEMP_INPUT, 20}});
    fake_.add("acpi_zone", "acpi_zone-virtual-0");
    write("sys/class/thermal/thermal_zone0/type", "acpi-zone\n");
    write("sys/class/thermal/thermal_zone1/type", "x86_pkg_temp\n");
    write("sys/class/thermal/thermal_zone1/temp", "61000\n");
    EXPECT_EQ(number(ask(machine_, 0x0400)), 2U);
    EXPECT_EQ(number(ask(machine_, 0x0402, 0, 1)), 61U);
    EXPECT_EQ(text(ask(machine_, 0x0404, 0, 1)), "x86_pkg_temp");
    expectNegative(ask(machine_, 0x0404, 0, 2));
    expectNegative(ask(machine_, 0x0404, 0, 0xFFFFFFFF));
}

TEST_F(SensorAnswers, AnswersOfAVoltage) {
    FakeSensors::add(chip_, SENSORS_FEATURE_IN, "+12V",
                     {{SENSORS_SUBFEATURE_IN_INPUT, 12.1},
                      {SENSORS_SUBFEATURE_IN_MIN, 11.4},
                      {SENSORS_SUBFEATURE_IN_MAX, 12.6}});
    FakeSensors::add(chip_, SENSORS_FEATURE_IN, "-5V", {{SENSORS_SUBFEATURE_IN_INPUT, -5}});
    EXPECT_EQ(number(ask(machine_, 0x0520)), 2U);
    EXPECT_EQ(number(ask(machine_, 0x0521)), 1U);
    EXPECT_EQ(text(ask(machine_, 0x0522)), "chip-isa-0290 +12V");
    EXPECT_EQ(number(ask(machine_, 0x0524)), 12100U);
    EXPECT_EQ(bytes(ask(machine_, 0x0523)), (Answer::Bytes{0x88, 0x2C, 0x38, 0x31}));
    expectNegative(ask(machine_, 0x0523, 0, 1));
    expectNegative(ask(machine_, 0x0524, 0, 1));
    expectNegative(ask(machine_, 0x0527));
}

TEST_F(SensorAnswers, ListsAllFourThresholdsOfAVoltage) {
    FakeSensors::add(chip_, SENSORS_FEATURE_IN, "+5V",
                     {{SENSORS_SUBFEATURE_IN_LCRIT, 0.001},
                      {SENSORS_SUBFEATURE_IN_MIN, 0.002},
                      {SENSORS_SUBFEATURE_IN_MAX, 0.003},
                      {SENSORS_SUBFEATURE_IN_CRIT, 0.004}});
    FakeSensors::add(chip_, SENSORS_FEATURE_IN, "+3V", {{SENSORS_SUBFEATURE_IN_MIN, 3}});
    EXPECT_EQ(bytes(ask(machine_, 0x0523)), (Answer::Bytes{1, 0, 2, 0, 3, 0, 4, 0}));
    expectNegative(ask(machine_, 0x0523, 0, 1));
}

}  // namespace
}  // namespace varnock::agent
