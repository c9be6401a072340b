#include "agent/host/PciDevices.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

class HostPciDevices : public testing::Test {
  protected:
    void add(const std::string& name, std::size_t size = 256) {
        const auto directory = root_.path() / "sys/bus/pci/devices" / name;
        std::filesystem::create_directories(directory);
        std::string config(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            config[i] = static_cast<char>(i);
        }
        std::ofstream(directory / "config") << config;
    }

    varnock::test::TemporaryDirectory root_;
    PciDevices pci_{root_.path()};
};

TEST_F(HostPciDevices, ListsSegmentZeroInOrder) {
    add("0000:ff:1f.7");
    add("0000:00:02.0");
    add("0000:00:01.1");
    add("0001:00:00.0");
    add("0000:00:02");
    add("0000:00:03.0x");
    const std::vector<PciPlace> expected{{0, 1, 1}, {0, 2, 0}, {255, 31, 7}};
    EXPECT_EQ(pci_.list(), expected);
}

TEST_F(HostPciDevices, HasNoListWithoutABus) {
    EXPECT_EQ(pci_.list(), std::nullopt);
}

TEST_F(HostPciDevices, ReadsTheHeader) {
    add("0000:00:1f.3");
    const auto header = pci_.header({0, 31, 3});
    ASSERT_TRUE(header);
    ASSERT_EQ(header->size(), 64U);
    EXPECT_EQ(header->at(63), 63);
}

TEST_F(HostPciDevices, HasNoHeaderOfADeviceThatIsMissingOrShort) {
    add("0000:00:02.0", 63);
    EXPECT_EQ(pci_.header({0, 2, 0}), std::nullopt);
    EXPECT_EQ(pci_.header({0, 3, 0}), std::nullopt);
    EXPECT_EQ(pci_.header({255, 255, 255}), std::nullopt);
    add("0000:00:00.3");
    EXPECT_EQ(pci_.header({0, 0, 0x13}), std::nullopt) << "functions are not cut to four bits";
}

}  // namespace
}  // namespace varnock::agent
