#include "agent/host/HostFacts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/described/ModelClocks.h"
#include "tests/agent/host/FakeSensors.h"
#include "tests/agent/host/HostQuestions.h"
#include "tests/agent/host/PciFunction.h"

namespace varnock::agent {
namespace {

using testing::ElementsAre;

class Facts : public RecordedHost {
  protected:
    Facts() {
        model_.refreshBy([this](const auto& path, const Arguments& arguments, bool isWhole) {
            facts_.refresh(path, arguments, isWhole);
        });
    }
    FakeSensors::Feature& addFan(const char* label, double rpm) {
        return FakeSensors::add(chip_, SENSORS_FEATURE_FAN, label,
                                {{SENSORS_SUBFEATURE_FAN_INPUT, rpm}});
    }
    void set(const std::string& path, const std::string& value) {
        model_.set(path, value, "test", std::nullopt);
    }
    const Node* cabinet() { return &model_.root()["cabinets"][0]; }

    FakeSensors fake_;
    FakeSensors::Chip& chip_ = fake_.add("chip", "chip");
    HostMachine::Sources sources_{root_.path()};
    MachineModel model_{Document(rapidjson::kObjectType), systemClock()};
    HostFacts facts_{sources_, model_};
};

TEST_F(Facts, ReadsNothingUntilItIsAskedFor) {
    EXPECT_EQ(model_.root().MemberCount(), 0U);
    EXPECT_EQ(fake_.opened, 0U);
}

TEST_F(Facts, ReadsOnlyTheValueThatIsAskedFor) {
    addFan("A", 1000);
    addFan("B", 2000);
    EXPECT_EQ(model_.number("cabinets[0].fans[1].speed"), 2000);
    EXPECT_EQ((*cabinet())["fans"][0].MemberCount(), 0U);
    EXPECT_EQ((*cabinet())["fans"][1].MemberCount(), 1U);
    EXPECT_EQ(memberOf(*cabinet(), "processors"), nullptr);
}

TEST_F(Facts, FindsACabinetByItsNumber) {
    addFan("A", 1000);
    EXPECT_EQ(model_.number("cabinets[number=0].fans[0].speed"), 1000);
    EXPECT_EQ(model_.number("cabinets[number=1].fans[0].speed"), std::nullopt);
}

TEST_F(Facts, ReadsAValueAnewEachTime) {
    FakeSensors::Feature& fan = addFan("A", 1000);
    EXPECT_EQ(model_.number("cabinets[0].fans[0].speed"), 1000);
    fan.values[SENSORS_SUBFEATURE_FAN_INPUT] = 1100;
    EXPECT_EQ(model_.number("cabinets[0].fans[0].speed"), 1100);
    fan.unreadable.insert(SENSORS_SUBFEATURE_FAN_INPUT);
    EXPECT_EQ(model_.number("cabinets[0].fans[0].speed"), std::nullopt);
}

TEST_F(Facts, ReadsAllBelowAnObject) {
    addFan("A", 1000);
    EXPECT_THAT(model_.list("cabinets[0].fans"),
                ElementsAre("cabinets[0].fans[0].designation", "cabinets[0].fans[0].speed"));
}

TEST_F(Facts, FollowsAListThatBecomesShorterOrEnds) {
    write("sys/bus/pci/devices/0000:01:00.0/config", pciHeader(0x1533, 0x02, 0x00));
    write("sys/bus/pci/devices/0000:02:00.0/config", pciHeader(0x1533, 0x02, 0x00));
    EXPECT_EQ(model_.get("cabinets[0].pciDevices.count"), "2");
    std::filesystem::remove_all(root_.path() / "sys/bus/pci/devices/0000:01:00.0");
    EXPECT_EQ(model_.get("cabinets[0].pciDevices.count"), "1");
    EXPECT_EQ(model_.get("cabinets[0].pciDevices[0].bus"), "2");
    std::filesystem::remove_all(root_.path() / "sys/bus");
    EXPECT_THROW(static_cast<void>(model_.get("cabinets[0].pciDevices.count")), UnknownPath);
}

TEST_F(Facts, KeepsOverridesInListsThatAreReadAtOnce) {
    write("sys/bus/pci/devices/0000:01:00.0/config", pciHeader(0x1533, 0x02, 0x00));
    set("cabinets[0].pciDevices[0].bus", "7");
    EXPECT_EQ(model_.get("cabinets[0].pciDevices[0].bus"), "7");
    EXPECT_EQ(model_.get("cabinets[0].pciDevices[0].device"), "0");
    write("sys/bus/pci/devices/0000:00:01.0/config", pciHeader(0x1533, 0x02, 0x00));
    EXPECT_EQ(model_.get("cabinets[0].pciDevices.count"), "2");
    EXPECT_EQ(model_.get("cabinets[0].pciDevices[0].bus"), "7");
    EXPECT_EQ(model_.get("cabinets[0].pciDevices[0].device"), "1");
    model_.resetAll();
    EXPECT_EQ(model_.get("cabinets[0].pciDevices[0].bus"), "0");
}

TEST_F(Facts, AnOverrideOutlivesTheValueBehindIt) {
    FakeSensors::Feature& fan = addFan("A", 1000);
    set("cabinets[0].fans[0].speed", "1 rpm");
    fan.unreadable.insert(SENSORS_SUBFEATURE_FAN_INPUT);
    EXPECT_EQ(model_.number("cabinets[0].fans[0].speed"), 1);
    EXPECT_TRUE(model_.overrides()[0].machineValue.IsNull());
    model_.resetAll();
    EXPECT_EQ(model_.number("cabinets[0].fans[0].speed"), std::nullopt);
}

TEST_F(Facts, EveryPlaceIsOneThatAMachineHas) {
    // A wrong path throws in the constructor of the fixture; a wrong member does here.
    EXPECT_NO_THROW(static_cast<void>(model_.save()));
}

}  // namespace
}  // namespace varnock::agent
