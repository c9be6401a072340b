#include "agent/host/FirmwareTable.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "tests/agent/host/SmbiosBuilder.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::agent {
namespace {

std::string textOf(const SmbiosBytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

/// The kernel's files, and a file of 2 MiB as a substitute for physical memory.
class FirmwareTable : public testing::Test {
  protected:
    FirmwareTable() {
        std::filesystem::create_directories(tables_);
        setenv("QX_MEMORY_DEVICE", memory_.c_str(), 1);
    }
    void put(const SmbiosBytes& bytes, std::size_t address) {
        image_.replace(address, bytes.size(), textOf(bytes));
        varnock::test::writeFile(memory_, image_);
    }

    varnock::test::TemporaryDirectory root_;
    const std::filesystem::path tables_ = root_.path() / "sys/firmware/dmi/tables";
    const std::string memory_ = root_.file("memory");
    std::string image_ = std::string(std::size_t{2} << 20, '\0');
    const SmbiosBytes table_ = typicalFirmware().table();
    const std::uint16_t size_ = static_cast<std::uint16_t>(table_.size());
};

TEST_F(FirmwareTable, ComesFromTheFilesOfTheKernel) {
    varnock::test::writeFile(tables_ / "smbios_entry_point",
                             textOf(SmbiosBuilder::entry3(0, size_)));
    varnock::test::writeFile(tables_ / "DMI", textOf(table_));
    const auto table = tableOfKernel(root_.path());
    ASSERT_TRUE(table);
    EXPECT_EQ(table->structures().size(), 11U);
    EXPECT_TRUE(table->hasLittleEndianUuid());
}

TEST_F(FirmwareTable, NeedsBothFilesAndASoundEntryPoint) {
    EXPECT_FALSE(tableOfKernel(root_.path()));
    varnock::test::writeFile(tables_ / "DMI", textOf(table_));
    EXPECT_FALSE(tableOfKernel(root_.path()));
    varnock::test::writeFile(tables_ / "smbios_entry_point", "_SM3_ garbage that is long enough");
    EXPECT_FALSE(tableOfKernel(root_.path()));
    varnock::test::writeFile(tables_ / "smbios_entry_point", "");
    EXPECT_FALSE(tableOfKernel(root_.path()));
    varnock::test::writeFile(tables_ / "smbios_entry_point",
                             textOf(SmbiosBuilder::entry2(0, size_)));
    EXPECT_TRUE(tableOfKernel(root_.path()));
    std::filesystem::remove(tables_ / "DMI");
    EXPECT_FALSE(tableOfKernel(root_.path()));
}

TEST_F(FirmwareTable, IsFoundInMemory) {
    put(table_, 0xE1234);
    put(SmbiosBuilder::entry2(0xE1234, size_), 0xF5AB0);
    const auto table = tableInMemory();
    ASSERT_TRUE(table);
    EXPECT_EQ(table->structures().size(), 11U);
    EXPECT_EQ(table->ofType(1).at(0).text(5), "Server 9");
}

TEST_F(FirmwareTable, IsFoundInMemoryAboveTheOldArea) {
    put(table_, 0x1FF000);
    put(SmbiosBuilder::entry3(0x1FF000, 0x1000), 0xFFFE0);
    const auto table = tableInMemory();
    ASSERT_TRUE(table);
    EXPECT_EQ(table->structures().size(), 11U);
}

TEST_F(FirmwareTable, IsNotThereWithoutAnEntryPoint) {
    EXPECT_FALSE(tableInMemory()) << "no device";
    put(table_, 0xE0000);
    EXPECT_FALSE(tableInMemory());
    put(SmbiosBuilder::entry2(0xE0000, size_), 0xF5AB8);
    EXPECT_FALSE(tableInMemory()) << "not at a 16th byte";
}

TEST_F(FirmwareTable, IsNotReadWhereThereIsNoMemory) {
    put(SmbiosBuilder::entry2(0x1FFFF0, 0x1000), 0xF0000);
    EXPECT_FALSE(tableInMemory()) << "beyond the end";
    put(SmbiosBuilder::entry2(0xE0000, 0), 0xF0000);
    EXPECT_FALSE(tableInMemory()) << "of no bytes";
    put(SmbiosBuilder::entry3(0xE0000, 0xFFFFFFFF), 0xF0000);
    EXPECT_FALSE(tableInMemory()) << "longer than there is memory";
    put(SmbiosBuilder::entry3(0x1000E0000, size_), 0xF0000);
    EXPECT_FALSE(tableInMemory()) << "where the device does not reach";
}

TEST_F(FirmwareTable, IsNotThereInTooLittleMemory) {
    varnock::test::writeFile(memory_, std::string(0xF8000, '\0'));
    EXPECT_FALSE(tableInMemory());
    varnock::test::writeFile(memory_, "");
    EXPECT_FALSE(tableInMemory());
}

}  // namespace
}  // namespace varnock::agent
