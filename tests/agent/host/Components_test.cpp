#include "agent/host/Components.h"

#include <gtest/gtest.h>

#include "tests/agent/host/SmbiosBuilder.h"
#include "tests/support/TextFile.h"

namespace varnock::agent {
namespace {

using Structure = SmbiosBuilder::Structure;

SmbiosTable tableOf(const SmbiosBuilder& builder, unsigned minor = 8) {
    return SmbiosTable(builder.table(), {2, minor, 0, 0});
}

SmbiosTable tableOf(const Structure& structure) {
    return tableOf(SmbiosBuilder().add(structure));
}

const SmbiosTable& typical() {
    static const SmbiosTable table = tableOf(typicalFirmware());
    return table;
}

MemoryModule module(Structure structure) {
    const auto modules = memoryModules(tableOf(structure));
    return modules.value_or(std::vector<MemoryModule>(1)).at(0);
}

TEST(Components, DescribeTheSystem) {
    const auto all = systems(typical());
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].manufacturer, "Maker & Co");
    EXPECT_EQ(all[0].model, "Server 9");
    EXPECT_EQ(all[0].version, "V2");
    EXPECT_EQ(all[0].serialNumber, "SN-4711");
    EXPECT_EQ(all[0].partNumber, "SKU-1");
    EXPECT_EQ(all[0].description, std::nullopt);
    EXPECT_EQ(biosVersion(typical()), "F 1.2");
}

TEST(Components, DescribeTheBoards) {
    const auto all = boards(typical());
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0].manufacturer, "Board House");
    EXPECT_EQ(all[0].model, "Board 5");
    EXPECT_EQ(all[0].version, "B2");
    EXPECT_EQ(all[0].serialNumber, "B-1");
    EXPECT_EQ(all[0].assetTag, "BT");
    EXPECT_EQ(all[0].designation, "Bay 3");
    EXPECT_EQ(all[0].description, "Motherboard");
    // An old, short structure.
    EXPECT_EQ(all[1].model, "Riser");
    EXPECT_EQ(all[1].serialNumber, std::nullopt);
    EXPECT_EQ(all[1].assetTag, std::nullopt);
    EXPECT_EQ(all[1].designation, std::nullopt);
    EXPECT_EQ(all[1].description, std::nullopt);
}

TEST(Components, DescribeTheChassis) {
    const auto all = chassis(typical());
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].manufacturer, "Case House");
    EXPECT_EQ(all[0].version, "C2");
    EXPECT_EQ(all[0].serialNumber, "C-1");
    EXPECT_EQ(all[0].assetTag, "Tag 12");
    EXPECT_EQ(all[0].partNumber, "CSKU") << "after the records of its contents";
    EXPECT_EQ(all[0].description, "Rack Mount Chassis") << "bit 7 is the lock";
}

TEST(Components, AreNotKnownByNumbersWithoutAName) {
    const auto description = [](unsigned type) {
        return chassis(tableOf(Structure(3, 9).byte(5, type))).at(0).description;
    };
    EXPECT_EQ(description(0), std::nullopt);
    EXPECT_EQ(description(1), std::nullopt) << "other";
    EXPECT_EQ(description(2), std::nullopt) << "unknown";
    EXPECT_EQ(description(3), "Desktop");
    EXPECT_EQ(description(0x1C), "Blade");
    EXPECT_EQ(description(0x24), "Stick PC");
    EXPECT_EQ(description(0x25), std::nullopt);
    EXPECT_EQ(description(0x7F), std::nullopt);
}

TEST(Components, DescribeTheProcessorsThatAreThere) {
    const auto all = processors(typical());
    ASSERT_EQ(all.size(), 1U) << "an empty socket and a coprocessor do not count";
    EXPECT_EQ(all[0].designation, "CPU 2");
    EXPECT_EQ(all[0].manufacturer, "Chip House");
    EXPECT_EQ(all[0].version, "Chip 3000");
    EXPECT_EQ(all[0].serialNumber, "P-1");
    EXPECT_EQ(all[0].partNumber, "PP-1");
    EXPECT_EQ(all[0].assetTag, "PT");
}

TEST(Components, DescribeTheMemoryModulesThatAreThere) {
    const auto all = memoryModules(typical());
    ASSERT_TRUE(all);
    ASSERT_EQ(all->size(), 2U) << "an empty socket does not count";
    const MemoryModule& first = all->at(0);
    EXPECT_EQ(first.designation, "DIMM A1");
    EXPECT_EQ(first.manufacturer, "Memory House");
    EXPECT_EQ(first.serialNumber, "M-1");
    EXPECT_EQ(first.assetTag, "MT");
    EXPECT_EQ(first.partNumber, "MP-1");
    EXPECT_EQ(first.model, "MP-1");
    EXPECT_EQ(first.version, std::nullopt);
    EXPECT_EQ(first.mebibytes, 65536U);
    EXPECT_EQ(first.type, 0x1AU);
    EXPECT_EQ(first.maxMegahertz, 3200U);
    EXPECT_EQ(first.megahertz, 2933U);
    EXPECT_EQ(first.formFactor, "DIMM");
    EXPECT_EQ(first.voltage, "1.2 V");
    EXPECT_EQ(first.description, "DDR4 DIMM");
    // Old firmware with few fields.
    const MemoryModule& second = all->at(1);
    EXPECT_EQ(second.designation, "DIMM B1");
    EXPECT_EQ(second.mebibytes, 512U);
    EXPECT_EQ(second.type, std::nullopt);
    EXPECT_EQ(second.maxMegahertz, std::nullopt);
    EXPECT_EQ(second.megahertz, std::nullopt);
    EXPECT_EQ(second.formFactor, std::nullopt);
    EXPECT_EQ(second.voltage, std::nullopt);
    EXPECT_EQ(second.description, std::nullopt);
    EXPECT_EQ(second.serialNumber, std::nullopt);
}

TEST(Components, KnowNoMemoryWithoutItsSockets) {
    EXPECT_FALSE(memoryModules(SmbiosTable()));
    const auto empty = memoryModules(tableOf(Structure(17, 0x28)));
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->empty());
}

TEST(Components, ReadEveryWayToWriteASize) {
    const auto size = [](unsigned word, unsigned dword) {
        return module(Structure(17, 0x28).word(0x0C, word).dword(0x1C, dword)).mebibytes;
    };
    EXPECT_EQ(size(1, 0), 1U);
    EXPECT_EQ(size(0x7FFE, 9), 0x7FFEU);
    EXPECT_EQ(size(0x7FFF, 0x80), 0x80U);
    EXPECT_EQ(size(0x7FFF, 0xFFFFFFFF), 0x7FFFFFFFU);
    EXPECT_EQ(size(0x7FFF, 0), std::nullopt);
    EXPECT_EQ(size(0x8000 | 4096, 0), 4U) << "in KiB";
    EXPECT_EQ(size(0x8000 | 512, 0), std::nullopt) << "less than one MiB";
    EXPECT_EQ(size(0xFFFF, 0), std::nullopt) << "unknown, but there";
    EXPECT_EQ(module(Structure(17, 0x15).word(0x0C, 0x7FFF)).mebibytes, std::nullopt);
}

TEST(Components, ReadEveryWayToWriteASpeed) {
    const MemoryModule fast = module(Structure(17, 0x5C)
                                         .word(0x0C, 1)
                                         .word(0x15, 0xFFFF)
                                         .word(0x20, 0xFFFF)
                                         .dword(0x54, 80000)
                                         .dword(0x58, 0x80000000 | 70000));
    EXPECT_EQ(fast.maxMegahertz, 80000U);
    EXPECT_EQ(fast.megahertz, 70000U);
    const MemoryModule cut =
        module(Structure(17, 0x28).word(0x0C, 1).word(0x15, 0xFFFF).word(0x20, 0xFFFF));
    EXPECT_EQ(cut.maxMegahertz, std::nullopt);
    EXPECT_EQ(cut.megahertz, std::nullopt);
}

TEST(Components, WriteVoltagesAsPeopleDo) {
    const auto voltage = [](unsigned millivolts) {
        return module(Structure(17, 0x28).word(0x0C, 1).word(0x26, millivolts)).voltage;
    };
    EXPECT_EQ(voltage(0), std::nullopt);
    EXPECT_EQ(voltage(1350), "1.35 V");
    EXPECT_EQ(voltage(1100), "1.1 V");
    EXPECT_EQ(voltage(3000), "3.0 V");
    EXPECT_EQ(voltage(1005), "1.005 V");
    EXPECT_EQ(voltage(65535), "65.535 V");
}

TEST(Components, NameMemoryTypesAndFormFactors) {
    const auto described = [](unsigned type, unsigned form) {
        return module(Structure(17, 0x28).word(0x0C, 1).byte(0x0E, form).byte(0x12, type))
            .description;
    };
    EXPECT_EQ(described(0x18, 0x0D), "DDR3 SODIMM");
    EXPECT_EQ(described(0x22, 0x09), "DDR5 DIMM");
    EXPECT_EQ(described(0x13, 0x0F), "DDR2 FB-DIMM");
    EXPECT_EQ(described(0x24, 0x10), "HBM3 Die");
    EXPECT_EQ(described(0x25, 0x09), std::nullopt);
    EXPECT_EQ(described(0x15, 0x09), std::nullopt) << "an unused number";
    EXPECT_EQ(described(0x1A, 0x11), std::nullopt);
}

TEST(Components, WriteTheUuidInItsByteOrder) {
    EXPECT_EQ(systemUuid(tableOf(typicalFirmware(), 8)), "33221100-5544-7766-8899-aabbccddeeff");
    EXPECT_EQ(systemUuid(tableOf(typicalFirmware(), 5)), "00112233-4455-6677-8899-aabbccddeeff");
}

TEST(Components, KnowWhenThereIsNoUuid) {
    EXPECT_EQ(systemUuid(SmbiosTable()), std::nullopt);
    EXPECT_EQ(systemUuid(tableOf(Structure(1, 0x1B))), std::nullopt) << "all zeros";
    Structure ones(1, 0x1B);
    for (unsigned i = 8; i < 24; ++i) {
        ones.byte(i, 0xFF);
    }
    EXPECT_EQ(systemUuid(tableOf(ones)), std::nullopt);
    EXPECT_EQ(systemUuid(tableOf(Structure(1, 8))), std::nullopt) << "before version 2.1";
}

TEST(Components, AnEmptyTableHasNone) {
    const SmbiosTable table;
    EXPECT_TRUE(systems(table).empty());
    EXPECT_TRUE(boards(table).empty());
    EXPECT_TRUE(chassis(table).empty());
    EXPECT_TRUE(processors(table).empty());
    EXPECT_EQ(biosVersion(table), std::nullopt);
}

TEST(Components, AreReadFromTheShortestStructures) {
    SmbiosBuilder builder;
    for (const unsigned type : {0U, 1U, 2U, 3U, 4U, 17U}) {
        builder.add(Structure(static_cast<std::uint8_t>(type), 4));
    }
    const SmbiosTable table = tableOf(builder);
    EXPECT_EQ(systems(table).size(), 1U);
    EXPECT_EQ(boards(table).size(), 1U);
    EXPECT_EQ(chassis(table).at(0).description, std::nullopt);
    EXPECT_TRUE(processors(table).empty());
    EXPECT_TRUE(memoryModules(table)->empty());
    EXPECT_EQ(biosVersion(table), std::nullopt);
}

TEST(Components, ListsThePowerSuppliesThatArePresent) {
    constexpr unsigned kPresent = 2;
    const SmbiosTable table = SmbiosTable(
        SmbiosBuilder()
            .add(SmbiosBuilder::Structure(39, 0x16)
                     .text(0x05, "PSU bay 1")
                     .text(0x06, "Supply 9")
                     .text(0x07, "Power House")
                     .text(0x08, "P-1")
                     .text(0x09, "Tag 3")
                     .text(0x0A, "PP-1")
                     .text(0x0B, "R2")
                     .word(0x0C, 800)
                     .word(0x0E, kPresent))
            .add(SmbiosBuilder::Structure(39, 0x16).word(0x0C, 800))
            .add(SmbiosBuilder::Structure(39, 0x16).word(0x0C, 0x8000).word(0x0E, kPresent))
            .add(SmbiosBuilder::Structure(39, 0x0C))
            .table(),
        SmbiosEntry{3, 2, 0, 0});
    const auto supplies = powerSupplies(table);
    ASSERT_TRUE(supplies);
    ASSERT_EQ(supplies->size(), 2U);
    PowerSupply expected;
    expected.designation = "PSU bay 1";
    expected.model = "Supply 9";
    expected.manufacturer = "Power House";
    expected.serialNumber = "P-1";
    expected.assetTag = "Tag 3";
    expected.partNumber = "PP-1";
    expected.version = "R2";
    expected.watts = 800;
    EXPECT_EQ((*supplies)[0], expected);
    EXPECT_EQ((*supplies)[1], PowerSupply());
}

TEST(Components, KnowsNoPowerSupplyThatTheTableDoesNotList) {
    EXPECT_EQ(powerSupplies(SmbiosTable()), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
