#include "agent/host/HostMachine.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>

#include "agent/host/Leases.h"
#include "agent/host/Network.h"
#include "agent/host/Processors.h"
#include "agent/host/Topology.h"
#include "tests/agent/host/HostQuestions.h"
#include "tests/agent/host/SmbiosBuilder.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

/// A recorded machine with firmware texts, a PCI device and an operating system.
class HostAnswers : public RecordedHost {
  protected:
    HostMachine host_;
};

TEST_F(HostAnswers, AnswersWhatAClientAsksWhenItStarts) {
    EXPECT_EQ(number(ask(host_, 0xE204)), 0U);
    EXPECT_TRUE(text(ask(host_, kConfiguration, 0x0201)));
    EXPECT_EQ(number(ask(host_, kConfiguration, 0x3812)), 0U);
    EXPECT_NE(ask(host_, kConfiguration, 0x3813).status, Status::failed);
    EXPECT_EQ(text(ask(host_, kText, 0xA303)), "7.00-10");
    EXPECT_EQ(number(ask(host_, 0xE209)), 0U);
}

TEST_F(HostAnswers, AnswersTheFirmwareTexts) {
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

/// The same with a firmware table in the kernel's files.
class FirmwareAnswers : public HostAnswers {
  protected:
    FirmwareAnswers() { writeTable(typicalFirmware()); }
    void writeTable(const SmbiosBuilder& firmware) {
        const SmbiosBytes table = firmware.table();
        const SmbiosBytes entry = SmbiosBuilder::entry3(0, 0x10000);
        write("sys/firmware/dmi/tables/DMI", {table.begin(), table.end()});
        write("sys/firmware/dmi/tables/smbios_entry_point", {entry.begin(), entry.end()});
    }
};

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

TEST_F(FirmwareAnswers, AnswersOfTheSocketsWhereTheCountsAgree) {
    Topology topology;
    SmbiosBuilder firmware;
    for (unsigned i = 0; i < topology.packages(); ++i) {
        const std::string number = std::to_string(i);
        firmware.add(SmbiosBuilder::Structure(4, 0x30)
                         .text(4, "Socket " + number)
                         .byte(5, 3)
                         .text(0x10, "Version " + number)
                         .byte(0x18, 0x41)
                         .text(0x20, "Serial " + number)
                         .text(0x22, "Part " + number));
    }
    writeTable(firmware);
    for (unsigned cpu = 0; cpu < configuredProcessors(); ++cpu) {
        const auto rank = topology.packagesBefore(cpu);
        if (!rank) {
            continue;
        }
        const std::string number = std::to_string(*rank);
        EXPECT_EQ(text(ask(machine_, 0x0602, 0, cpu)), "Socket " + number);
        EXPECT_EQ(text(ask(machine_, kText, 0x0A00, cpu)), "Serial " + number);
        EXPECT_EQ(text(ask(machine_, kText, 0x0A01, cpu)), "Part " + number);
        EXPECT_EQ(text(ask(machine_, kText, 0x0A05, cpu)), "Version " + number);
    }
    expectNegative(ask(machine_, kText, 0x0A00, configuredProcessors()));
    expectNegative(ask(machine_, kText, 0x0A00, 0xFFFFFFFF));
}

TEST_F(FirmwareAnswers, GuessesNoSocketWhereTheCountsDiffer) {
    Topology topology;
    SmbiosBuilder firmware;
    for (unsigned i = 0; i <= topology.packages(); ++i) {
        firmware.add(SmbiosBuilder::Structure(4, 0x30)
                         .text(4, "Socket")
                         .byte(5, 3)
                         .byte(0x18, 0x41)
                         .text(0x20, "Serial"));
    }
    writeTable(firmware);
    expectNegative(ask(machine_, kText, 0x0A00));
    EXPECT_NE(text(ask(machine_, 0x0602)), "Socket");
}

TEST_F(HostAnswers, AnswersOfARecordedFirmware) {
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

TEST_F(HostAnswers, AnInvalidTableIsNotAvailable) {
    write("sys/firmware/dmi/tables/DMI", std::string(3000, '\xFF'));
    write("sys/firmware/dmi/tables/smbios_entry_point", std::string(64, '_'));
    for (const unsigned opcode : {0x0700U, 0x0702U, 0x070AU, 0x0D00U, 0x0D04U, 0x3390U, 0x3394U}) {
        expectNegative(ask(machine_, opcode));
    }
    for (const unsigned extension : {0x0100U, 0x0200U, 0x0300U, 0x0600U, 0x0A00U}) {
        expectNegative(ask(machine_, kText, extension));
    }
}

TEST_F(HostAnswers, PrefersTheUuidOfTheFirmware) {
    expectNegative(ask(machine_, kText, 0x1510));
    expectNegative(ask(machine_, 0x0D00));
    write("etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
    EXPECT_EQ(text(ask(machine_, kText, 0x1510, 0, kNoCabinet)),
              "3d1219c7-c4c5-404a-aa1f-6d2a48adfda4");
    write("sys/class/dmi/id/product_uuid", "4C4C4544-0042-4E10-8058-B7C04F4B3333\n");
    EXPECT_EQ(text(ask(machine_, kText, 0x1510, 0, kNoCabinet)),
              "4C4C4544-0042-4E10-8058-B7C04F4B3333");
}

TEST_F(HostAnswers, AnswersOfTheOperatingSystem) {
    expectNegative(ask(machine_, kText, 0xA708));
    write("etc/os-release", "PRETTY_NAME='An OS'\nVERSION='9'\nID=debian\n");
    EXPECT_EQ(text(ask(machine_, kText, 0xA708, 0, kNoCabinet)), "An OS");
    EXPECT_EQ(text(ask(machine_, kText, 0xA703, 0, kNoCabinet)), "9");
    EXPECT_EQ(number(ask(machine_, 0x0C70)), 96U);
    EXPECT_TRUE(number(ask(host_, 0x0118)));
    EXPECT_TRUE(number(ask(host_, 0xE104)));
    EXPECT_LE(number(ask(host_, 0x0920, 0, 0, kNoCabinet)).value_or(101), 100U);
}

TEST_F(HostAnswers, AnswersOfEveryProcessor) {
    const unsigned count = configuredProcessors();
    EXPECT_EQ(number(ask(host_, 0x0600)), count);
    EXPECT_EQ(number(ask(host_, 0x0614)), count);
    for (unsigned cpu = 0; cpu < count; ++cpu) {
        EXPECT_EQ(number(ask(host_, 0x0601, 0, cpu)), Processors("/").online(cpu) ? 1U : 2U);
    }
    for (const unsigned opcode : {0x0606U, 0x060AU, 0x060EU, 0x061CU}) {
        EXPECT_GE(number(ask(host_, opcode)).value_or(0), 1U) << opcode;
    }
    EXPECT_EQ(number(ask(host_, 0x0611)), 0U);
    EXPECT_LE(number(ask(host_, 0x0612)).value_or(101), 100U);
    EXPECT_LE(number(ask(host_, 0x0617)).value_or(2), 1U);
    expectNegative(ask(host_, 0x0619));
}

TEST_F(HostAnswers, KnowsNoProcessorAboveTheCount) {
    const unsigned count = configuredProcessors();
    for (unsigned opcode = 0x0601; opcode <= 0x061F; ++opcode) {
        if (opcode != 0x0614) {
            expectNegative(ask(host_, opcode, 1, count));
            expectNegative(ask(host_, opcode, 1, 0xFFFFFFFF));
        }
    }
    expectNegative(ask(host_, kText, 0x0A08, count));
    expectNegative(ask(host_, 0x0607, 0, 0));
    expectNegative(ask(host_, 0x0600, 0, 1));
}

TEST_F(HostAnswers, TellsAProcessorThatIsSwitchedOff) {
    constexpr unsigned kEnabled = 1;
    const auto before = number(ask(machine_, 0x0601));
    write("sys/devices/system/cpu/cpu0/online", "0\n");
    const auto off = number(ask(machine_, 0x0601));
    write("sys/devices/system/cpu/cpu0/online", "1\n");
    EXPECT_EQ(before, kEnabled);
    EXPECT_EQ(number(ask(machine_, 0x0601)), kEnabled);
    EXPECT_TRUE(off);
    EXPECT_NE(off, kEnabled);
}

TEST_F(HostAnswers, AnswersSpeedAndSteppingInOneStream) {
    expectNegative(ask(machine_, 0x0603));
    write("proc/cpuinfo", "processor : 0\ncpu MHz : 2445.4\napicid : 12\n");
    EXPECT_EQ(bytes(ask(machine_, 0x0603)), (Answer::Bytes{0x8D, 0x09}));
    EXPECT_EQ(number(ask(machine_, 0x0618)), 12U);
    write("proc/cpuinfo", "processor : 0\ncpu MHz : 2445.4\nstepping : 7\n");
    EXPECT_EQ(bytes(ask(machine_, 0x0603)), (Answer::Bytes{0x8D, 0x09, 7, 0}));
}

TEST_F(HostAnswers, AnswersOfTheNetworkInterfaces) {
    const auto interfaces = networkInterfaces();
    EXPECT_EQ(number(ask(host_, 0x1700)), interfaces.size());
    const auto count = static_cast<unsigned>(interfaces.size());
    for (unsigned i = 0; i < count; ++i) {
        const auto& interface = interfaces[i];
        const auto mac = bytes(ask(host_, 0x1707, 0, i));
        EXPECT_EQ(mac.value_or(AddressBytes()), interface.mac);
        const auto addresses = static_cast<unsigned>(interface.addresses.size());
        for (unsigned a = 0; a < addresses; ++a) {
            EXPECT_EQ(bytes(ask(host_, 0x1703, a, i)), interface.addresses[a].address);
            EXPECT_EQ(bytes(ask(host_, 0x1704, a, i)), interface.addresses[a].netmask);
        }
        expectNegative(ask(host_, 0x1703, addresses, i));
        expectNegative(ask(host_, 0x1704, addresses, i));
        EXPECT_EQ(number(ask(host_, 0x1706, 0, i)).has_value(),
                  hasLease(interface.index).has_value());
        if (i == 0) {
            expectNegative(ask(machine_, 0x1708, 0, i));
            write("proc/net/route", "x\n" + interface.name + " 0 010200C0 3 0 0 0 0 0 0 0\n");
            EXPECT_EQ(bytes(ask(machine_, 0x1708, 0, i)), (Answer::Bytes{192, 0, 2, 1}));
            expectNegative(ask(machine_, 0x1708, 1, i));
            write("proc/net/ipv6_route", std::string(32, '0') + " 00 " + std::string(32, '0') +
                                             " 00 fe80" + std::string(27, '0') +
                                             "1 00000400 00000003 00000000 00000003 " +
                                             interface.name + "\n");
            Answer::Bytes router(16);
            router[0] = 0xFE;
            router[1] = 0x80;
            router[15] = 1;
            EXPECT_EQ(bytes(ask(machine_, 0x1708, 1, i)), router);
            write("proc/net/route", "");
            EXPECT_EQ(bytes(ask(machine_, 0x1708, 0, i)), router);
            expectNegative(ask(machine_, 0x1708, 1, i));
        }
    }
    for (const unsigned opcode : {0x1703U, 0x1704U, 0x1706U, 0x1707U, 0x1708U}) {
        expectNegative(ask(host_, opcode, 0, count));
    }
}

TEST_F(HostAnswers, ListsThePciDevicesAndReadsTheirHeaders) {
    expectNegative(ask(machine_, 0x1490));
    write("sys/bus/pci/devices/0000:02:1f.3/config", std::string(64, 'c'));
    EXPECT_EQ(bytes(ask(machine_, 0x1490)), (Answer::Bytes{0, 0, 2, 0, 0x1F, 3}));

    SipJson record(0x1401, 0, 5, 0, SipJson::noStatus);
    const Command command{0x1401, 0, 5, 0, record};
    EXPECT_EQ(machine_.answer(command).status, Status::invalid) << "no address";
    record.SetRequestDataStream({2, 0x1F});
    EXPECT_EQ(machine_.answer(command).status, Status::invalid) << "half an address";
    record.SetRequestDataStream({2, 0x1F, 3});
    EXPECT_EQ(bytes(machine_.answer(command)), Answer::Bytes(64, 'c'));
    record.SetRequestDataStream({2, 0x1F, 4});
    expectNegative(machine_.answer(command));
}

TEST_F(HostAnswers, SaysWhyItHasNoAnswer) {
    EXPECT_EQ(ask(host_, 0x0600, 0, 0, 7).reason, "there is no cabinet 7");
    EXPECT_EQ(ask(host_, 0x0600, 0, 3).reason, "there is no object 3");
    EXPECT_EQ(ask(machine_, 0x0300).reason, "no driver shows such a fan");
    EXPECT_EQ(ask(machine_, 0x0205).reason,
              "a host has no source for it, or its firmware does not tell it");
    EXPECT_EQ(ask(host_, 0x0600).reason, "");
}

TEST_F(HostAnswers, HasOneCabinet) {
    EXPECT_TRUE(number(ask(host_, 0x0600, 0, 0, kNoCabinet)));
    expectNegative(ask(host_, 0x0600, 0, 0, 1));
    expectNegative(ask(host_, 0xE204, 0, 0, 1));
}

TEST_F(HostAnswers, RefusesWhatItDoesNotHaveAndWhatWouldChangeIt) {
    for (const unsigned opcode : {0x0300U, 0x0500U, 0x0520U, 0x0700U, 0x0220U, 0x0C21U, 0x0205U,
                                  0x0206U, 0x0209U, 0x0B03U, 0xE002U, 0x0000U, 0xFFFFFFFFU}) {
        expectNegative(ask(machine_, opcode));
    }
}

}  // namespace
}  // namespace varnock::agent
