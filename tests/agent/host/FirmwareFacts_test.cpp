#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

#include "tests/agent/host/HostQuestions.h"

namespace varnock::agent {
namespace {

using FirmwareTexts = RecordedHost;

class FirmwareAnswers : public RecordedHost {
  protected:
    FirmwareAnswers() { writeFirmware(typicalFirmware()); }
};

TEST_F(FirmwareTexts, AnswersTheFirmwareTexts) {
    const std::set<std::pair<unsigned, std::string>> rows = {
        {0x0100, "chassis_serial"}, {0x0105, "chassis_version"}, {0x010A, "chassis_vendor"},
        {0x0200, "board_serial"},   {0x0205, "board_version"},   {0x0208, "board_name"},
        {0x020A, "board_vendor"},   {0x0600, "product_serial"},  {0x0605, "product_version"},
        {0x0608, "product_name"},   {0x060A, "sys_vendor"}};
    for (const auto& [extension, name] : rows) {
        expectNegative(ask(machine_, kText, extension));
        write("sys/class/dmi/id/" + name, "the " + name + "\n");
        EXPECT_EQ(text(ask(machine_, kText, extension)), "the " + name);
        expectNegative(ask(machine_, kText, extension, 1));
        expectNegative(ask(machine_, 0x0C01, extension));
    }
    EXPECT_EQ(number(ask(machine_, 0x0D00)), 1U);
}

TEST_F(FirmwareTexts, AnswersOfARecordedFirmware) {
    const std::filesystem::path recorded(VARNOCK_TEST_DATA_DIR "/smbios/qemu");
    const auto tables = root_.path() / "sys/firmware/dmi/tables";
    std::filesystem::create_directories(tables);
    std::filesystem::copy(recorded, tables);
    EXPECT_EQ(text(ask(machine_, kText, 0x0608)), "Server 9");
    EXPECT_EQ(text(ask(machine_, kText, 0x0208)), "Board 5");
    EXPECT_EQ(number(ask(machine_, 0x0700)), 1U);
    EXPECT_EQ(text(ask(machine_, 0x0702)), "DIMM 0");
    EXPECT_EQ(number(ask(machine_, 0x070A)), 1024U);
    EXPECT_EQ(text(ask(machine_, 0x3394)), "F 1.2");
    EXPECT_EQ(text(ask(machine_, kText, 0x1510)), "33221100-5544-7766-8899-aabbccddeeff");
}

TEST_F(FirmwareTexts, AnInvalidTableIsNotAvailable) {
    write("sys/firmware/dmi/tables/DMI", std::string(3000, '\xFF'));
    write("sys/firmware/dmi/tables/smbios_entry_point", std::string(64, '_'));
    for (const unsigned opcode : {0x0700U, 0x0702U, 0x070AU, 0x0D00U, 0x0D04U, 0x3390U, 0x3394U}) {
        expectNegative(ask(machine_, opcode));
    }
    for (const unsigned extension : {0x0100U, 0x0200U, 0x0300U, 0x0600U, 0x0A00U}) {
        expectNegative(ask(machine_, kText, extension));
    }
}

TEST_F(FirmwareTexts, PrefersTheUuidOfTheFirmware) {
    expectNegative(ask(machine_, kText, 0x1510));
    expectNegative(ask(machine_, 0x0D00));
    write("etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
    EXPECT_EQ(text(ask(machine_, kText, 0x1510, 0, kNoCabinet)),
              "3d1219c7-c4c5-404a-aa1f-6d2a48adfda4");
    write("sys/class/dmi/id/product_uuid", "4C4C4544-0042-4E10-8058-B7C04F4B3333\n");
    EXPECT_EQ(text(ask(machine_, kText, 0x1510, 0, kNoCabinet)),
              "4C4C4544-0042-4E10-8058-B7C04F4B3333");
}

TEST_F(FirmwareAnswers, AnswersTheTextsOfChassisBoardsAndCabinet) {
    const std::map<unsigned, std::string> rows = {{0x0100, "C-1"},
                                                  {0x0101, "CSKU"},
                                                  {0x0105, "C2"},
                                                  {0x010A, "Case House"},
                                                  {0x010F, "Rack Mount Chassis"},
                                                  {0x0200, "B-1"},
                                                  {0x0205, "B2"},
                                                  {0x0208, "Board 5"},
                                                  {0x020A, "Board House"},
                                                  {0x020F, "Motherboard"},
                                                  {0x0600, "SN-4711"},
                                                  {0x0601, "SKU-1"},
                                                  {0x0605, "V2"},
                                                  {0x0608, "Server 9"},
                                                  {0x060A, "Maker & Co"}};
    for (const auto& [extension, expected] : rows) {
        EXPECT_EQ(text(ask(machine_, kText, extension)), expected) << extension;
    }
    expectNegative(ask(machine_, kText, 0x0108));
    expectNegative(ask(machine_, kText, 0x0201));
    expectNegative(ask(machine_, kText, 0x020B));
    expectNegative(ask(machine_, kText, 0x0100, 1));
    expectNegative(ask(machine_, kText, 0x0608, 1));
    EXPECT_EQ(text(ask(machine_, kConfiguration, 0x0210)), "Tag 12");
    EXPECT_EQ(text(ask(machine_, kText, 0x1510)), "33221100-5544-7766-8899-aabbccddeeff");
}

TEST_F(FirmwareAnswers, CountsTheBoards) {
    EXPECT_EQ(number(ask(machine_, 0x0D00)), 2U);
    EXPECT_EQ(text(ask(machine_, kText, 0x0208, 1)), "Riser");
    expectNegative(ask(machine_, kText, 0x0208, 2));
    expectNegative(ask(machine_, kText, 0x0208, 0xFFFFFFFF));
    EXPECT_EQ(text(ask(machine_, 0x0D04)), "Bay 3");
    expectNegative(ask(machine_, 0x0D04, 0, 1));
    expectNegative(ask(machine_, 0x0D04, 0, 2));
}

TEST_F(FirmwareAnswers, AnswersOfTheMemoryModules) {
    EXPECT_EQ(number(ask(machine_, 0x0700)), 2U);
    EXPECT_EQ(text(ask(machine_, 0x0702)), "DIMM A1");
    EXPECT_EQ(bytes(ask(machine_, 0x0703)), (Answer::Bytes{0x1A}));
    EXPECT_EQ(number(ask(machine_, 0x0709)), 2933U);
    EXPECT_EQ(number(ask(machine_, 0x070A)), 65536U);
    EXPECT_EQ(text(ask(machine_, 0x070D)), "DIMM");
    EXPECT_EQ(number(ask(machine_, 0x070E)), 3200U);
    EXPECT_EQ(text(ask(machine_, 0x070F)), "1.2 V");
    const std::map<unsigned, std::string> rows = {{0x0300, "M-1"},
                                                  {0x0301, "MP-1"},
                                                  {0x0308, "MP-1"},
                                                  {0x030A, "Memory House"},
                                                  {0x030F, "DDR4 DIMM"}};
    for (const auto& [extension, expected] : rows) {
        EXPECT_EQ(text(ask(machine_, kText, extension)), expected) << extension;
    }
    // Facts missing in the table.
    for (const unsigned opcode : {0x0701U, 0x0705U, 0x0707U}) {
        expectNegative(ask(machine_, opcode));
    }
    expectNegative(ask(machine_, kText, 0x030B));
    expectNegative(ask(machine_, kText, 0x0305));
}

TEST_F(FirmwareAnswers, AnswersOfEveryMemoryModuleWhatIsKnown) {
    EXPECT_EQ(text(ask(machine_, 0x0702, 0, 1)), "DIMM B1");
    EXPECT_EQ(number(ask(machine_, 0x070A, 0, 1)), 512U);
    for (const unsigned opcode : {0x0703U, 0x0709U, 0x070DU, 0x070EU, 0x070FU}) {
        expectNegative(ask(machine_, opcode, 0, 1));
    }
    for (const unsigned object : {2U, 0xFFFFFFFFU}) {
        for (unsigned opcode = 0x0701; opcode <= 0x070F; ++opcode) {
            expectNegative(ask(machine_, opcode, 0, object));
        }
        expectNegative(ask(machine_, kText, 0x0300, object));
    }
}

TEST_F(FirmwareAnswers, AnswersOfTheFirmwareItself) {
    EXPECT_EQ(number(ask(machine_, 0x3390)), 1U);
    EXPECT_EQ(text(ask(machine_, 0x3392)), "BIOS");
    EXPECT_EQ(text(ask(machine_, 0x3394)), "F 1.2");
    expectNegative(ask(machine_, 0x3393));
    expectNegative(ask(machine_, 0x3394, 0, 1));
}

}  // namespace
}  // namespace varnock::agent
