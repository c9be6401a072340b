#include "agent/host/Firmware.h"

#include <gtest/gtest.h>

#include "tests/agent/host/SmbiosBuilder.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::agent {
namespace {

class HostFirmware : public testing::Test {
  protected:
    HostFirmware() {
        std::filesystem::create_directories(texts_);
        std::filesystem::create_directories(tables_);
    }
    void writeText(const std::string& name, const std::string& text) {
        varnock::test::writeFile(texts_ / name, text + "\n");
    }
    void writeTable() {
        const SmbiosBytes table = typicalFirmware().table();
        const SmbiosBytes entry = SmbiosBuilder::entry3(0, 0x1000);
        varnock::test::writeFile(tables_ / "DMI", {table.begin(), table.end()});
        varnock::test::writeFile(tables_ / "smbios_entry_point", {entry.begin(), entry.end()});
    }

    varnock::test::TemporaryDirectory root_;
    const std::filesystem::path texts_ = root_.path() / "sys/class/dmi/id";
    const std::filesystem::path tables_ = root_.path() / "sys/firmware/dmi/tables";
    Firmware firmware_{root_.path()};
};

TEST_F(HostFirmware, ReadsTheTextsThatTheKernelShows) {
    writeText("board_vendor", "Maker Inc.");
    writeText("board_serial", " ");
    EXPECT_EQ(firmware_.text("board_vendor"), "Maker Inc.");
    EXPECT_EQ(firmware_.text("board_serial"), std::nullopt) << "an empty text counts as missing";
    EXPECT_EQ(firmware_.text("board_name"), std::nullopt);
}

TEST_F(HostFirmware, HasNothingWithoutTableAndTexts) {
    EXPECT_TRUE(firmware_.systems().empty());
    EXPECT_TRUE(firmware_.boards().empty());
    EXPECT_TRUE(firmware_.chassis().empty());
    EXPECT_TRUE(firmware_.processors().empty());
    EXPECT_EQ(firmware_.memoryModules(), std::nullopt);
    EXPECT_EQ(firmware_.assetTag(), std::nullopt);
    EXPECT_EQ(firmware_.biosVersion(), std::nullopt);
    EXPECT_EQ(firmware_.uuid(), std::nullopt);
}

TEST_F(HostFirmware, OneTextIsEnoughForAPart) {
    writeText("chassis_asset_tag", "tag");
    ASSERT_EQ(firmware_.chassis().size(), 1U);
    EXPECT_EQ(firmware_.chassis()[0].assetTag, "tag");
    EXPECT_TRUE(firmware_.boards().empty());
}

TEST_F(HostFirmware, TakesTheTextsForOneOfEachWithoutATable) {
    for (const char* name :
         {"sys_vendor", "product_name", "product_version", "product_serial", "board_vendor",
          "board_name", "board_version", "board_serial", "board_asset_tag", "chassis_vendor",
          "chassis_version", "chassis_serial", "chassis_asset_tag", "bios_version"}) {
        writeText(name, name);
    }
    writeText("product_uuid", "the uuid");
    const auto systems = firmware_.systems();
    ASSERT_EQ(systems.size(), 1U);
    EXPECT_EQ(systems[0].manufacturer, "sys_vendor");
    EXPECT_EQ(systems[0].model, "product_name");
    EXPECT_EQ(systems[0].version, "product_version");
    EXPECT_EQ(systems[0].serialNumber, "product_serial");
    const auto boards = firmware_.boards();
    ASSERT_EQ(boards.size(), 1U);
    EXPECT_EQ(boards[0].model, "board_name");
    EXPECT_EQ(boards[0].assetTag, "board_asset_tag");
    const auto chassis = firmware_.chassis();
    ASSERT_EQ(chassis.size(), 1U);
    EXPECT_EQ(chassis[0].manufacturer, "chassis_vendor");
    EXPECT_EQ(chassis[0].model, std::nullopt);
    EXPECT_EQ(firmware_.assetTag(), "chassis_asset_tag");
    EXPECT_EQ(firmware_.biosVersion(), "bios_version");
    EXPECT_EQ(firmware_.uuid(), "the uuid");
}

TEST_F(HostFirmware, PrefersTheTable) {
    writeText("board_name", "another");
    writeText("chassis_asset_tag", "another");
    writeText("bios_version", "another");
    writeTable();
    EXPECT_EQ(firmware_.boards().size(), 2U);
    EXPECT_EQ(firmware_.boards()[0].model, "Board 5");
    EXPECT_EQ(firmware_.assetTag(), "Tag 12");
    EXPECT_EQ(firmware_.biosVersion(), "F 1.2");
    EXPECT_EQ(firmware_.processors().size(), 1U);
    EXPECT_EQ(firmware_.memoryModules()->size(), 2U);
}

TEST_F(HostFirmware, PrefersTheUuidAsTheKernelWritesIt) {
    writeTable();
    EXPECT_EQ(firmware_.uuid(), "33221100-5544-7766-8899-aabbccddeeff");
    writeText("product_uuid", "the kernel's");
    EXPECT_EQ(firmware_.uuid(), "the kernel's");
}

TEST_F(HostFirmware, FindsATableThatComesLaterAndKeepsIt) {
    EXPECT_TRUE(firmware_.boards().empty());
    writeTable();
    EXPECT_EQ(firmware_.boards().size(), 2U);
    std::filesystem::remove_all(tables_);
    EXPECT_EQ(firmware_.boards().size(), 2U);
}

TEST_F(HostFirmware, DoesNotAskTheMemoryOfThisMachineAboutAnother) {
    const SmbiosBytes table = typicalFirmware().table();
    const SmbiosBytes entry =
        SmbiosBuilder::entry2(0xF8000, static_cast<std::uint16_t>(table.size()));
    std::string memory(std::size_t{1} << 20, '\0');
    memory.replace(0xF8000, table.size(), std::string(table.begin(), table.end()));
    memory.replace(0xF0000, entry.size(), std::string(entry.begin(), entry.end()));
    varnock::test::writeFile(root_.file("memory"), memory);
    setenv("QX_MEMORY_DEVICE", root_.file("memory").c_str(), 1);
    EXPECT_TRUE(firmware_.boards().empty());
    if (std::filesystem::exists("/sys/firmware/dmi/tables")) {
        GTEST_SKIP() << "the kernel exports the firmware's own table, which is read first";
    }
    Firmware here("/");
    EXPECT_EQ(here.boards().size(), 2U);
    EXPECT_EQ(here.memoryModules()->size(), 2U);
}

}  // namespace
}  // namespace varnock::agent
