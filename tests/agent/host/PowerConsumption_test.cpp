#include "agent/host/PowerConsumption.h"

#include <gtest/gtest.h>

#include "agent/host/ComponentClass.h"
#include "tests/agent/host/EnergyFiles.h"
#include "tests/agent/host/FakeSensors.h"

namespace varnock::agent {
namespace {

using namespace std::chrono_literals;
using Classes = std::vector<unsigned>;

class PowerFacts : public testing::Test {
  protected:
    FakeSensors fake_;
    EnergyFiles files_;
    Sensors sensors_;
    PowerConsumption power_{files_.root(), sensors_};
    const PowerConsumption::Time start_ = PowerConsumption::Time() + 24h;
};

TEST_F(PowerFacts, HasNoClassWithoutAMeter) {
    EXPECT_EQ(power_.classes(start_), Classes());
    EXPECT_TRUE(power_.meters(ComponentClass::kProcessor, start_).empty());
    files_.zone("intel-rapl:0:0", "core", 5);
    EXPECT_EQ(power_.classes(start_), Classes()) << "a part of a processor";
}

TEST_F(PowerFacts, SortsTheZonesIntoClasses) {
    files_.zone("intel-rapl:0", "package-0", 0);
    files_.zone("intel-rapl:0:1", "dram", 0);
    files_.zone("intel-rapl:1", "package-1", 0);
    files_.zone("intel-rapl:1:1", "dram", 0);
    files_.zone("intel-rapl:2", "psys", 0);
    EXPECT_EQ(power_.classes(start_), (Classes{0x03, 0x06, 0x0A}));
    files_.zone("intel-rapl:1:1", "dram", 20000000);
    const auto memory = power_.meters(ComponentClass::kMemoryModule, start_ + 1s);
    ASSERT_EQ(memory.size(), 2U);
    EXPECT_EQ(memory[0], (PowerMeter{"package-0 dram", 0}));
    EXPECT_EQ(memory[1], (PowerMeter{"package-1 dram", 20}));
    EXPECT_EQ(power_.meters(ComponentClass::kProcessor, start_).size(), 2U);
    EXPECT_EQ(power_.meters(ComponentClass::kCabinet, start_).size(), 1U);
    EXPECT_TRUE(power_.meters(0, start_).empty());
}

TEST_F(PowerFacts, CountsTheMeterOfTheMachineToTheCabinet) {
    auto& chip = fake_.add("power_meter", "power_meter-acpi-0");
    FakeSensors::add(chip, SENSORS_FEATURE_POWER, "power1",
                     {{SENSORS_SUBFEATURE_POWER_AVERAGE, 230}});
    files_.zone("intel-rapl:2", "psys", 0);
    EXPECT_EQ(power_.classes(start_), Classes{0x06});
    const auto meters = power_.meters(ComponentClass::kCabinet, start_);
    ASSERT_EQ(meters.size(), 2U);
    EXPECT_EQ(meters[0], (PowerMeter{"power_meter-acpi-0 power1", 230}));
    EXPECT_EQ(meters[1], (PowerMeter{"psys", std::nullopt}));
}

}  // namespace
}  // namespace varnock::agent
