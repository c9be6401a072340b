#include "agent/host/Sensors.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "tests/agent/host/FakeSensors.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

FakeSensors* installedSensors = nullptr;

FakeSensors::Chip* chipOf(const sensors_chip_name* name) {
    for (FakeSensors::Chip& chip : installedSensors->chips) {
        if (&chip.name == name) {
            return &chip;
        }
    }
    return nullptr;
}

FakeSensors::Feature& featureOf(const sensors_chip_name* name, const sensors_feature* feature) {
    return chipOf(name)->features.at(static_cast<std::size_t>(feature->number));
}

}  // namespace

FakeSensors::FakeSensors() {
    installedSensors = this;
}
FakeSensors::~FakeSensors() {
    installedSensors = nullptr;
}
FakeSensors* FakeSensors::current() {
    return installedSensors;
}

FakeSensors::Chip& FakeSensors::add(std::string prefix, std::string fullName, std::string path) {
    Chip& chip = chips.emplace_back(Chip{std::move(prefix), std::move(path), std::move(fullName)});
    chip.name.prefix = chip.prefix.data();
    chip.name.path = chip.path.empty() ? nullptr : chip.path.data();
    return chip;
}

FakeSensors::Feature& FakeSensors::add(Chip& chip, sensors_feature_type type, std::string label,
                                       Values values) {
    const auto number = static_cast<int>(chip.features.size());
    Feature& feature =
        chip.features.emplace_back(Feature{"feature" + std::to_string(number), std::move(label)});
    feature.values = std::move(values);
    feature.feature.name = feature.name.data();
    feature.feature.number = number;
    feature.feature.type = type;
    for (const auto& [kind, value] : feature.values) {
        feature.subfeatures.push_back({nullptr,
                                       number * 1000 + static_cast<int>(feature.subfeatures.size()),
                                       kind, number, SENSORS_MODE_R});
    }
    return feature;
}

}  // namespace varnock::agent

using varnock::agent::FakeSensors;

extern "C" {

int sensors_init(FILE*) {
    if (FakeSensors::current() == nullptr) {
        return 0;
    }
    ++FakeSensors::current()->opened;
    return FakeSensors::current()->fails ? 1 : 0;
}

void sensors_cleanup() {
    if (FakeSensors::current() != nullptr) {
        ++FakeSensors::current()->closed;
    }
}

const sensors_chip_name* sensors_get_detected_chips(const sensors_chip_name*, int* next) {
    const FakeSensors* sensors = FakeSensors::current();
    const auto number = static_cast<std::size_t>((*next)++);
    return sensors != nullptr && number < sensors->chips.size() ? &sensors->chips[number].name
                                                                : nullptr;
}

int sensors_snprintf_chip_name(char* text, std::size_t size, const sensors_chip_name* chip) {
    return std::snprintf(text, size, "%s", varnock::agent::chipOf(chip)->fullName.c_str());
}

const sensors_feature* sensors_get_features(const sensors_chip_name* name, int* next) {
    const auto& features = varnock::agent::chipOf(name)->features;
    const auto number = static_cast<std::size_t>((*next)++);
    return number < features.size() ? &features[number].feature : nullptr;
}

char* sensors_get_label(const sensors_chip_name* name, const sensors_feature* feature) {
    const std::string& label = varnock::agent::featureOf(name, feature).label;
    return label.empty() ? nullptr : strdup(label.c_str());
}

const sensors_subfeature* sensors_get_subfeature(const sensors_chip_name* name,
                                                 const sensors_feature* feature,
                                                 sensors_subfeature_type type) {
    for (const auto& each : varnock::agent::featureOf(name, feature).subfeatures) {
        if (each.type == type) {
            return &each;
        }
    }
    return nullptr;
}

int sensors_get_value(const sensors_chip_name* name, int number, double* value) {
    constexpr int kNoAccess = -9;
    const auto& feature =
        varnock::agent::chipOf(name)->features.at(static_cast<std::size_t>(number / 1000));
    const auto type = feature.subfeatures.at(static_cast<std::size_t>(number % 1000)).type;
    if (feature.unreadable.contains(type)) {
        return kNoAccess;
    }
    *value = feature.values.at(type);
    return 0;
}

}  // extern "C"

namespace varnock::agent {
namespace {

class SensorFacts : public testing::Test {
  protected:
    FakeSensors::Feature& fan(FakeSensors::Values values) {
        return FakeSensors::add(chip_, SENSORS_FEATURE_FAN, "CPU fan", std::move(values));
    }
    FakeSensors::Feature& temperature(FakeSensors::Values values) {
        return FakeSensors::add(chip_, SENSORS_FEATURE_TEMP, "Inlet", std::move(values));
    }
    FakeSensors::Feature& voltage(FakeSensors::Values values) {
        return FakeSensors::add(chip_, SENSORS_FEATURE_IN, "+12V", std::move(values));
    }

    FakeSensors fake_;
    FakeSensors::Chip& chip_ = fake_.add("nct6775", "nct6775-isa-0290");
    Sensors sensors_;
};

TEST_F(SensorFacts, ReadsNothingBeforeItIsAsked) {
    EXPECT_EQ(fake_.opened, 0U);
    EXPECT_EQ(sensors_.fans(), 0U);
    EXPECT_EQ(sensors_.temperatures(), 0U);
    EXPECT_EQ(fake_.opened, 1U);
}

TEST_F(SensorFacts, ClosesTheLibraryWithItsLastUser) {
    {
        Sensors first;
        Sensors second;
        EXPECT_EQ(first.fans() + second.fans(), 0U);
        EXPECT_EQ(fake_.opened, 1U);
        EXPECT_EQ(fake_.closed, 0U);
    }
    EXPECT_EQ(fake_.closed, 1U);
}

TEST_F(SensorFacts, HasNoSensorIfTheLibraryDoesNotStart) {
    fan({{SENSORS_SUBFEATURE_FAN_INPUT, 5400}});
    fake_.fails = true;
    EXPECT_EQ(sensors_.fans(), 0U);
    EXPECT_FALSE(sensors_.fan(0));
    EXPECT_FALSE(sensors_.hasDriver("nct6775"));
    fake_.fails = false;
    EXPECT_EQ(sensors_.fans(), 1U) << "it is tried again";
    EXPECT_EQ(fake_.closed, 0U);
}

TEST_F(SensorFacts, NumbersTheSensorsOfEachKindInTheOrderOfTheChips) {
    fan({});
    temperature({});
    fan({});
    voltage({});
    auto& other = fake_.add("coretemp", "coretemp-isa-0000");
    FakeSensors::add(other, SENSORS_FEATURE_TEMP, "Core 0", {});
    FakeSensors::add(other, SENSORS_FEATURE_HUMIDITY, "Air", {});
    EXPECT_EQ(sensors_.fans(), 2U);
    EXPECT_EQ(sensors_.temperatures(), 2U);
    EXPECT_EQ(sensors_.voltages(), 1U);
    EXPECT_EQ(sensors_.powerMeters(), 0U);
    EXPECT_EQ(sensors_.temperature(0)->name, "coretemp-isa-0000 Core 0");
    EXPECT_EQ(sensors_.temperature(1)->name, "nct6775-isa-0290 Inlet");
    EXPECT_FALSE(sensors_.temperature(2));
    EXPECT_FALSE(sensors_.fan(2));
    EXPECT_FALSE(sensors_.fan(0xFFFFFFFF));
    EXPECT_FALSE(sensors_.voltage(1));
    EXPECT_FALSE(sensors_.powerMeter(0));
    EXPECT_TRUE(sensors_.hasDriver("coretemp"));
    EXPECT_FALSE(sensors_.hasDriver("core"));
}

TEST_F(SensorFacts, NamesASensorWithoutALabelByItsFeature) {
    FakeSensors::add(chip_, SENSORS_FEATURE_FAN, "", {});
    EXPECT_EQ(sensors_.fan(0)->name, "nct6775-isa-0290 feature0");
}

TEST_F(SensorFacts, NamesTheTemperatureOfADiskByItsModel) {
    const varnock::test::TemporaryDirectory directory;
    std::filesystem::create_directory(directory.path() / "device");
    std::ofstream(directory.path() / "device/model") << "Fast Disk 9   \n";
    auto& disk = fake_.add("drivetemp", "drivetemp-scsi-0-0", directory.path());
    FakeSensors::add(disk, SENSORS_FEATURE_TEMP, "temp1", {{SENSORS_SUBFEATURE_TEMP_INPUT, 36.5}});
    EXPECT_EQ(sensors_.temperature(0)->name, "Fast Disk 9 temp1");
    EXPECT_EQ(sensors_.temperature(0)->celsius, 36.5);
}

TEST_F(SensorFacts, ReadsAValueOnEachRequest) {
    auto& fanFeature = fan({{SENSORS_SUBFEATURE_FAN_INPUT, 5400}});
    EXPECT_EQ(sensors_.fan(0)->rpm, 5400);
    fanFeature.values[SENSORS_SUBFEATURE_FAN_INPUT] = 3000;
    EXPECT_EQ(sensors_.fan(0)->rpm, 3000);
    EXPECT_EQ(fake_.opened, 1U);
}

TEST_F(SensorFacts, LacksAValueThatCannotBeRead) {
    fan({{SENSORS_SUBFEATURE_FAN_INPUT, 5400}}).unreadable = {SENSORS_SUBFEATURE_FAN_INPUT};
    fan({{SENSORS_SUBFEATURE_FAN_INPUT, 5400}}).subfeatures.front().flags = SENSORS_MODE_W;
    fan({});
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(sensors_.fan(i)->rpm, std::nullopt) << i;
        EXPECT_EQ(sensors_.fan(i)->health, std::nullopt) << i;
    }
}

struct Case {
    FakeSensors::Values values;
    std::optional<Health> health;
};

TEST_F(SensorFacts, TellsTheStateOfAFanByItsLimitsAndAlarms) {
    const std::vector<Case> cases = {
        {{{SENSORS_SUBFEATURE_FAN_INPUT, 900}}, std::nullopt},
        {{{SENSORS_SUBFEATURE_FAN_INPUT, 900}, {SENSORS_SUBFEATURE_FAN_MIN, 600}}, Health::ok},
        {{{SENSORS_SUBFEATURE_FAN_INPUT, 500}, {SENSORS_SUBFEATURE_FAN_MIN, 600}}, Health::warning},
        {{{SENSORS_SUBFEATURE_FAN_INPUT, 900}, {SENSORS_SUBFEATURE_FAN_MAX, 800}}, Health::warning},
        {{{SENSORS_SUBFEATURE_FAN_INPUT, 900}, {SENSORS_SUBFEATURE_FAN_ALARM, 0}}, Health::ok},
        {{{SENSORS_SUBFEATURE_FAN_INPUT, 900}, {SENSORS_SUBFEATURE_FAN_ALARM, 1}}, Health::warning},
        {{{SENSORS_SUBFEATURE_FAN_INPUT, 0}, {SENSORS_SUBFEATURE_FAN_MIN_ALARM, 1}},
         Health::failed},
        {{{SENSORS_SUBFEATURE_FAN_FAULT, 1}}, Health::failed},
        {{{SENSORS_SUBFEATURE_FAN_INPUT, 900}, {SENSORS_SUBFEATURE_FAN_FAULT, 0}}, Health::ok}};
    for (const Case& each : cases) {
        fan(each.values);
    }
    for (unsigned i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(sensors_.fan(i)->health, cases[i].health) << i;
    }
}

TEST_F(SensorFacts, TellsTheStateOfATemperature) {
    const std::vector<Case> cases = {
        {{{SENSORS_SUBFEATURE_TEMP_INPUT, 60}}, std::nullopt},
        {{{SENSORS_SUBFEATURE_TEMP_INPUT, 60}, {SENSORS_SUBFEATURE_TEMP_MAX, 80}}, Health::ok},
        {{{SENSORS_SUBFEATURE_TEMP_INPUT, 81}, {SENSORS_SUBFEATURE_TEMP_MAX, 80}}, Health::warning},
        {{{SENSORS_SUBFEATURE_TEMP_INPUT, 100}, {SENSORS_SUBFEATURE_TEMP_CRIT, 100}},
         Health::failed},
        {{{SENSORS_SUBFEATURE_TEMP_INPUT, 3}, {SENSORS_SUBFEATURE_TEMP_MIN, 5}}, Health::warning},
        {{{SENSORS_SUBFEATURE_TEMP_INPUT, 3}, {SENSORS_SUBFEATURE_TEMP_LCRIT, 5}}, Health::failed},
        {{{SENSORS_SUBFEATURE_TEMP_MAX_ALARM, 1}}, Health::warning},
        {{{SENSORS_SUBFEATURE_TEMP_CRIT_ALARM, 1}}, Health::failed},
        {{{SENSORS_SUBFEATURE_TEMP_FAULT, 1}}, Health::failed}};
    for (const Case& each : cases) {
        temperature(each.values);
    }
    for (unsigned i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(sensors_.temperature(i)->health, cases[i].health) << i;
    }
    EXPECT_EQ(sensors_.temperature(1)->warning, 80);
    EXPECT_EQ(sensors_.temperature(3)->critical, 100);
    EXPECT_EQ(sensors_.temperature(3)->warning, std::nullopt);
}

TEST_F(SensorFacts, TellsTheStateOfAVoltage) {
    const std::vector<Case> cases = {
        {{{SENSORS_SUBFEATURE_IN_INPUT, 12.1}}, std::nullopt},
        {{{SENSORS_SUBFEATURE_IN_INPUT, 12.1}, {SENSORS_SUBFEATURE_IN_MIN, 11.4}}, Health::ok},
        {{{SENSORS_SUBFEATURE_IN_INPUT, 11.3}, {SENSORS_SUBFEATURE_IN_MIN, 11.4}}, Health::warning},
        {{{SENSORS_SUBFEATURE_IN_INPUT, 11}, {SENSORS_SUBFEATURE_IN_LCRIT, 11.2}}, Health::failed},
        {{{SENSORS_SUBFEATURE_IN_INPUT, 13}, {SENSORS_SUBFEATURE_IN_CRIT, 13}}, Health::failed},
        {{{SENSORS_SUBFEATURE_IN_ALARM, 1}}, Health::warning},
        {{{SENSORS_SUBFEATURE_IN_CRIT_ALARM, 1}}, Health::failed}};
    for (const Case& each : cases) {
        voltage(each.values);
    }
    for (unsigned i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(sensors_.voltage(i)->health, cases[i].health) << i;
    }
    EXPECT_EQ(sensors_.voltage(1)->volts, 12.1);
    EXPECT_EQ(sensors_.voltage(1)->limits.least, 11.4);
}

TEST_F(SensorFacts, MetersOnlyThePowerOfTheWholeMachine) {
    auto& graphics = fake_.add("amdgpu", "amdgpu-pci-0300");
    FakeSensors::add(graphics, SENSORS_FEATURE_POWER, "PPT", {{SENSORS_SUBFEATURE_POWER_INPUT, 9}});
    auto& machine = fake_.add("power_meter", "power_meter-acpi-0");
    FakeSensors::add(machine, SENSORS_FEATURE_POWER, "power1",
                     {{SENSORS_SUBFEATURE_POWER_AVERAGE, 231.4}});
    EXPECT_EQ(sensors_.powerMeters(), 1U);
    EXPECT_EQ(sensors_.powerMeter(0), (PowerMeter{"power_meter-acpi-0 power1", 231.4}));
}

}  // namespace
}  // namespace varnock::agent
