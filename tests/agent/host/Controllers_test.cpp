#include "agent/host/Controllers.h"

#include <gtest/gtest.h>

#include "agent/host/ComponentClass.h"
#include "tests/agent/host/FakeHardwareNames.h"
#include "tests/agent/host/HostQuestions.h"
#include "tests/agent/host/PciFunction.h"

namespace varnock::agent {
namespace {

class ControllerFacts : public RecordedHost {
  protected:
    void function(const std::string& address, const std::string& header) {
        write("sys/bus/pci/devices/" + address + "/config", header);
    }
    std::vector<Controller> found() { return controllers(PciDevices(root_.path()), names_); }

    PciNames names_;
};

TEST_F(ControllerFacts, ListsNetworkAndScsiControllers) {
    EXPECT_TRUE(found().empty());
    function("0000:00:00.0", pciHeader(0x1000, 0x06, 0x00));
    function("0000:02:00.0", pciHeader(0x1533, 0x02, 0x00));
    function("0000:03:00.0", pciHeader(0x2000, 0x01, 0x07));
    function("0000:03:00.1", pciHeader(0x2001, 0x01, 0x08));
    function("0000:04:00.0", pciHeader(0x2002, 0x01, 0x04));
    function("0000:05:00.0", pciHeader(0x0000, 0x02, 0x00));
    function("0000:06:00.0", "short");
    const auto all = found();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0].componentClass, ComponentClass::kNetworkController);
    EXPECT_EQ(all[0].address, "0000:02:00.0");
    EXPECT_EQ(all[0].version, "03");
    EXPECT_EQ(all[0].description, "Ethernet controller");
    EXPECT_EQ(all[1].componentClass, ComponentClass::kStorageController);
    EXPECT_EQ(all[2].address, "0000:04:00.0");
}

TEST_F(ControllerFacts, NamesThemByTheDatabaseElseByTheirNumbers) {
    function("0000:02:00.0", pciHeader(0x1533, 0x02, 0x00));
    EXPECT_EQ(found()[0].model, "8086:1533");
    EXPECT_EQ(found()[0].manufacturer, std::nullopt);
    FakeHardwareNames database;
    database.properties[{"pci:v00008086d00001533", "ID_MODEL_FROM_DATABASE"}] = "Adapter 4";
    PciNames names;
    const auto all = controllers(PciDevices(root_.path()), names);
    EXPECT_EQ(all[0].model, "Adapter 4");
    EXPECT_EQ(all[0].partNumber, "8086:1533");
}

}  // namespace
}  // namespace varnock::agent
