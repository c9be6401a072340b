#include "agent/host/Smbios.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/agent/host/SmbiosBuilder.h"
#include "tests/support/TextFile.h"

namespace varnock::agent {
namespace {

using Structure = SmbiosBuilder::Structure;

constexpr SmbiosEntry kVersion28{2, 8, 0, 0};

SmbiosBytes recorded(const std::string& name) {
    const std::string content =
        varnock::test::readFile(VARNOCK_TEST_DATA_DIR "/smbios/qemu/" + name);
    return {content.begin(), content.end()};
}

// --- Entry points -------------------------------------------------------------------------------

TEST(SmbiosEntry, ReadsTheEntryPointOfVersionThree) {
    const auto entry = readSmbiosEntry(SmbiosBuilder::entry3(0x123456789ABC, 0x12345));
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->major, 3U);
    EXPECT_EQ(entry->minor, 4U);
    EXPECT_EQ(entry->address, 0x123456789ABCU);
    EXPECT_EQ(entry->length, 0x12345U);
}

TEST(SmbiosEntry, ReadsTheEntryPointOfVersionTwo) {
    const auto entry = readSmbiosEntry(SmbiosBuilder::entry2(0xFEDCBA98, 0xABCD));
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->major, 2U);
    EXPECT_EQ(entry->minor, 8U);
    EXPECT_EQ(entry->address, 0xFEDCBA98U);
    EXPECT_EQ(entry->length, 0xABCDU);
}

TEST(SmbiosEntry, ReadsTheEntryPointOfBefore) {
    SmbiosBytes bytes = SmbiosBuilder::entry2(0xE0000, 0x100, 1);
    bytes.erase(bytes.begin(), bytes.begin() + 16);
    const auto entry = readSmbiosEntry(bytes);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->major, 2U);
    EXPECT_EQ(entry->minor, 1U);
    EXPECT_EQ(entry->address, 0xE0000U);
}

TEST(SmbiosEntry, TakesALengthThatIsOneShort) {
    SmbiosBytes bytes = SmbiosBuilder::entry2(0xE0000, 0x100);
    bytes[5] = 30;
    EXPECT_TRUE(readSmbiosEntry(SmbiosBuilder::sound(bytes, 0, 4, 30)));
}

TEST(SmbiosEntry, NeedsALengthThatHoldsItsFields) {
    SmbiosBytes bytes = SmbiosBuilder::entry2(0xE0000, 0x100);
    bytes[5] = 29;
    EXPECT_FALSE(readSmbiosEntry(SmbiosBuilder::sound(bytes, 0, 4, 29)));
}

TEST(SmbiosEntry, OfVersionTwoNeedsASoundPartOfBefore) {
    SmbiosBytes bytes = SmbiosBuilder::entry2(0xE0000, 0x100);
    ++bytes[0x18];
    const std::size_t length = bytes[5];
    bytes = SmbiosBuilder::sound(bytes, 0, 4, length);
    EXPECT_FALSE(readSmbiosEntry(bytes));
    bytes.erase(bytes.begin(), bytes.begin() + 16);
    EXPECT_FALSE(readSmbiosEntry(bytes));
}

TEST(SmbiosEntry, EveryByteCounts) {
    for (const SmbiosBytes& good :
         {SmbiosBuilder::entry3(0xE0000, 0x100), SmbiosBuilder::entry2(0xE0000, 0x100)}) {
        for (std::size_t i = 0; i < good.size(); ++i) {
            SmbiosBytes bad = good;
            ++bad[i];
            EXPECT_FALSE(readSmbiosEntry(bad)) << i;
        }
    }
}

TEST(SmbiosEntry, IsNotReadBeyondTheEnd) {
    for (const SmbiosBytes& good :
         {SmbiosBuilder::entry3(0xE0000, 0x100), SmbiosBuilder::entry2(0xE0000, 0x100)}) {
        for (std::size_t size = 0; size < good.size(); ++size) {
            EXPECT_FALSE(readSmbiosEntry(SmbiosBytes(good.data(), good.data() + size))) << size;
        }
    }
    // Lengths that are too small and too large, with checksums that fit.
    for (const unsigned length : {0U, 6U, 23U, 25U, 255U}) {
        SmbiosBytes bytes = SmbiosBuilder::entry3(0xE0000, 0x100);
        bytes[6] = static_cast<std::uint8_t>(length);
        const std::size_t summed = std::min<std::size_t>(length, bytes.size());
        if (length > 5) {
            bytes = SmbiosBuilder::sound(bytes, 0, 5, summed);
        }
        EXPECT_FALSE(readSmbiosEntry(bytes)) << length;
    }
}

TEST(SmbiosEntry, IsFoundAtEvery16thByte) {
    const SmbiosBytes entry = SmbiosBuilder::entry2(0xF1000, 0x100);
    for (const std::size_t at : {std::size_t{0}, std::size_t{0x10}, std::size_t{0xFFE0}}) {
        SmbiosBytes area(0x10000);
        std::copy(entry.begin(), entry.end(), area.begin() + static_cast<std::ptrdiff_t>(at));
        EXPECT_TRUE(findSmbiosEntry(area)) << at;
    }
    SmbiosBytes area(0x10000);
    std::copy(entry.begin(), entry.end(), area.begin() + 8);
    EXPECT_FALSE(findSmbiosEntry(area)) << "the entry point inside it is out of place as well";
    EXPECT_FALSE(findSmbiosEntry({}));
    EXPECT_FALSE(findSmbiosEntry(SmbiosBytes(0x10000)));
}

TEST(SmbiosEntry, ThatOfVersionThreeIsPreferred) {
    SmbiosBytes area(0x10000);
    const SmbiosBytes two = SmbiosBuilder::entry2(0xF1000, 0x100);
    const SmbiosBytes three = SmbiosBuilder::entry3(0xF2000, 0x100);
    std::copy(two.begin(), two.end(), area.begin() + 0x100);
    std::copy(three.begin(), three.end(), area.begin() + 0x200);
    EXPECT_EQ(findSmbiosEntry(area)->address, 0xF2000U);
    area[0x200] = 0;
    EXPECT_EQ(findSmbiosEntry(area)->address, 0xF1000U);
}

// --- Structures ---------------------------------------------------------------------------------

TEST(SmbiosStructure, ReadsFieldsThatAreThere) {
    const SmbiosTable table(
        SmbiosBuilder()
            .add(Structure(9, 12).byte(4, 0x12).word(5, 0x3456).dword(8, 0x89ABCDEF))
            .table(),
        kVersion28);
    ASSERT_EQ(table.structures().size(), 1U);
    const SmbiosStructure& structure = table.structures()[0];
    EXPECT_EQ(structure.type(), 9U);
    EXPECT_EQ(structure.byte(4), 0x12U);
    EXPECT_EQ(structure.word(5), 0x3456U);
    EXPECT_EQ(structure.dword(8), 0x89ABCDEFU);
    EXPECT_EQ(structure.byte(11), 0x89U);
    EXPECT_EQ(structure.byte(12), std::nullopt);
    EXPECT_EQ(structure.word(11), std::nullopt);
    EXPECT_EQ(structure.dword(9), std::nullopt);
    EXPECT_EQ(structure.byte(static_cast<std::size_t>(-1)), std::nullopt);
    EXPECT_EQ(structure.bytes(4, 8).size(), 8U);
    EXPECT_TRUE(structure.bytes(5, 8).empty());
    EXPECT_TRUE(structure.bytes(5, static_cast<std::size_t>(-1)).empty());
}

TEST(SmbiosStructure, ReadsTextsByTheirNumbers) {
    const SmbiosTable table(
        SmbiosBuilder()
            .add(Structure(9, 9).text(4, "first").text(5, "  second \t").text(6, " ").byte(7, 4))
            .table(),
        kVersion28);
    const SmbiosStructure& structure = table.structures().at(0);
    EXPECT_EQ(structure.text(4), "first");
    EXPECT_EQ(structure.text(5), "second");
    EXPECT_EQ(structure.text(6), std::nullopt) << "only white space counts as missing";
    EXPECT_EQ(structure.text(7), std::nullopt) << "there are only three";
    EXPECT_EQ(structure.text(8), std::nullopt) << "number 0 means no text";
    EXPECT_EQ(structure.text(9), std::nullopt) << "beyond the end";
}

// --- The table ----------------------------------------------------------------------------------

TEST(SmbiosTable, KeepsTheOrderOfTheStructures) {
    const SmbiosTable table(typicalFirmware().table(), kVersion28);
    std::vector<unsigned> types;
    for (const SmbiosStructure& structure : table.structures()) {
        types.push_back(structure.type());
    }
    EXPECT_EQ(types, (std::vector<unsigned>{0, 1, 2, 2, 3, 4, 4, 4, 17, 17, 17}));
    EXPECT_EQ(table.ofType(17).size(), 3U);
    EXPECT_EQ(table.ofType(2).at(1).text(5), "Riser");
    EXPECT_TRUE(table.ofType(99).empty());
}

TEST(SmbiosTable, StaysReadableWhenItMoves) {
    SmbiosTable from(typicalFirmware().table(), kVersion28);
    const SmbiosTable table(std::move(from));
    EXPECT_EQ(table.ofType(1).at(0).text(5), "Server 9");
}

TEST(SmbiosTable, EndsAtItsEndMark) {
    SmbiosBytes bytes = typicalFirmware().table();
    const SmbiosBytes more = typicalFirmware().table();
    bytes.insert(bytes.end(), more.begin(), more.end());
    EXPECT_EQ(SmbiosTable(bytes, kVersion28).structures().size(), 11U);
}

TEST(SmbiosTable, EndsBeforeAStructureThatIsBroken) {
    const SmbiosBytes good = SmbiosBuilder().add(Structure(9, 4)).table();
    for (const unsigned length : {0U, 3U, 200U}) {
        SmbiosBytes bytes = good;
        bytes[7] = static_cast<std::uint8_t>(length);
        EXPECT_EQ(SmbiosTable(bytes, kVersion28).structures().size(), 1U);
        bytes[1] = static_cast<std::uint8_t>(length);
        EXPECT_TRUE(SmbiosTable(bytes, kVersion28).structures().empty()) << length;
    }
}

TEST(SmbiosTable, KnowsTheByteOrderOfItsUuid) {
    const auto isLittle = [](unsigned major, unsigned minor) {
        return SmbiosTable({}, {major, minor, 0, 0}).hasLittleEndianUuid();
    };
    EXPECT_FALSE(isLittle(2, 5));
    EXPECT_TRUE(isLittle(2, 6));
    EXPECT_TRUE(isLittle(3, 0));
    EXPECT_FALSE(isLittle(1, 9));
}

bool holds(const SmbiosBytes& bytes, const std::string& text) {
    return std::string(bytes.begin(), bytes.end()).find(text) != std::string::npos;
}

/// Reads everything from a table, and expects that it is consistent and comes from these bytes. The
/// sanitizers detect reads outside them.
void expectSound(const SmbiosBytes& bytes) {
    const SmbiosTable table(bytes, kVersion28);
    const std::size_t smallest = 4 + 2;  // a header and the end of the texts
    EXPECT_LE(table.structures().size() * smallest, bytes.size());
    for (const SmbiosStructure& structure : table.structures()) {
        EXPECT_EQ(structure.byte(0), structure.type());
        EXPECT_NE(structure.type(), 127U) << "the end mark";
        for (std::size_t offset = 0; offset < 260; offset += 3) {
            const auto byte = structure.byte(offset);
            const auto word = structure.word(offset);
            const auto dword = structure.dword(offset);
            EXPECT_EQ(structure.bytes(offset, 1).size(), byte ? 1U : 0U) << offset;
            EXPECT_EQ(structure.bytes(offset, 2).size(), word ? 2U : 0U) << offset;
            EXPECT_EQ(structure.bytes(offset, 4).size(), dword ? 4U : 0U) << offset;
            if (word) {
                EXPECT_EQ(*word & 0xFF, byte) << offset;
            }
            if (dword) {
                EXPECT_EQ(*dword & 0xFFFF, word) << offset;
            }
            if (const auto text = structure.text(offset)) {
                EXPECT_NE(*text, "") << offset;
                EXPECT_TRUE(holds(bytes, *text)) << offset << ": " << *text;
            }
        }
    }
}

TEST(SmbiosTable, ReadsAsFarAsACutTableGoes) {
    const SmbiosBytes bytes = typicalFirmware().table();
    std::size_t before = 0;
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const SmbiosBytes cut(bytes.data(), bytes.data() + size);
        expectSound(cut);
        const std::size_t count = SmbiosTable(cut, kVersion28).structures().size();
        EXPECT_GE(count, before);
        before = count;
    }
    EXPECT_EQ(before, 11U);
}

TEST(SmbiosTable, AnyBytesAreSafe) {
    std::mt19937 random(4711);
    const SmbiosBytes good = typicalFirmware().table();
    for (unsigned round = 0; round < 100; ++round) {
        SmbiosBytes damaged = good;
        for (unsigned i = 0; i < 1 + round % 8; ++i) {
            damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
        }
        expectSound(damaged);
        SmbiosBytes garbage(random() % 300);
        for (std::uint8_t& byte : garbage) {
            byte = static_cast<std::uint8_t>(random() % 3 == 0 ? 0 : random());
        }
        expectSound(garbage);
        EXPECT_FALSE(findSmbiosEntry(garbage));
    }
}

TEST(SmbiosTable, ReadsARecordedOne) {
    const auto entry = readSmbiosEntry(recorded("smbios_entry_point"));
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->major, 3U);
    const SmbiosTable table(recorded("DMI"), *entry);
    EXPECT_EQ(table.ofType(1).at(0).text(4), "Maker & Co");
    EXPECT_EQ(table.ofType(4).size(), 2U);
    EXPECT_EQ(table.ofType(17).size(), 1U);
    EXPECT_EQ(table.ofType(127).size(), 0U);
}

}  // namespace
}  // namespace varnock::agent
