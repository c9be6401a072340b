#include "catalogue/Table.h"

#include <gtest/gtest.h>

#include "tests/catalogue/TableText.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

using catalogue::Malformed;
using catalogue::Table;

/// The messages about a text; "" if it is a valid table.
std::string faultsOf(const std::string& text) {
    try {
        const Table table(text, "t.tsv");
        return "";
    } catch (const Malformed& faults) {
        return faults.what();
    }
}

TEST(Table, GivesTheCellsOfItsRows) {
    const Table table(
        tableText({soundRow(), soundRow({{"index", "1"}, {"name", "getFanQuality"}})}), "t.tsv");
    ASSERT_EQ(table.rows().size(), 2U);
    const catalogue::Row& row = table.rows()[1];
    EXPECT_EQ(row.index, 1);
    EXPECT_EQ(row.name, "getFanQuality");
    EXPECT_EQ(row.returnType, "cimple::uint8");
    EXPECT_EQ(row.componentClass, "fan");
    EXPECT_EQ(row.description, "Status of a fan, coded.");
    EXPECT_EQ(table.place(row), "t.tsv:3");
}

TEST(Table, KeepsItsRowsWhenItMoves) {
    Table table(tableText({soundRow({{"description", "Short."}})}), "t");
    const Table moved = std::move(table);
    EXPECT_EQ(moved.rows().front().description, "Short.");
}

TEST(Table, NeedsNoEndOfTheLastLine) {
    std::string text = tableText({soundRow()});
    text.pop_back();
    EXPECT_EQ(faultsOf(text), "");
}

TEST(Table, RefusesAnotherHeading) {
    EXPECT_EQ(faultsOf("").rfind("t.tsv:1: the heading is not: index\tname\t", 0), 0U);
    EXPECT_NE(faultsOf("index\tname\n"), "");
}

TEST(Table, RefusesALineOfTooFewOrTooManyCells) {
    const std::string text = tableText({soundRow()});
    const std::size_t columns = catalogue::columns().size();
    EXPECT_EQ(faultsOf(text + "1\tgetFanName\n"),
              "t.tsv:3: 2 cells; a row has " + std::to_string(columns) + "\n");
    EXPECT_EQ(faultsOf(text.substr(0, text.size() - 1) + "\tmore\n"),
              "t.tsv:2: " + std::to_string(columns + 1) + " cells; a row has " +
                  std::to_string(columns) + "\n");
    EXPECT_EQ(faultsOf(text + "\n"),
              "t.tsv:3: 1 cells; a row has " + std::to_string(columns) + "\n");
}

TEST(Table, CountsItsRows) {
    EXPECT_EQ(faultsOf(tableText({soundRow({{"index", "7"}})})), "t.tsv:2: index: 7, expected 0\n");
}

TEST(Table, RefusesANameThatIsThere) {
    EXPECT_EQ(faultsOf(tableText({soundRow(), soundRow({{"index", "1"}})})),
              "t.tsv:3: name: getFanStatus has a row already\n");
}

TEST(Table, RefusesAnOpcodeThatChangesStateInSomeRowsOnly) {
    EXPECT_EQ(
        faultsOf(tableText(
            {soundRow(), soundRow({{"index", "1"}, {"name", "setFan"}, {"changes", "yes"}})})),
        "t.tsv:3: changes: yes, and not so for getFanStatus, which has the same opcode\n");
}

TEST(Table, CallsThatReadTheSameHaveOnePlaceInTheModel) {
    const auto second = [](const Cells& others) {
        Cells cells = soundRow({{"index", "1"}, {"name", "getFanState"}});
        cells.insert(others.begin(), others.end());
        for (const auto& [column, cell] : others) {
            cells[column] = cell;
        }
        return faultsOf(tableText({soundRow(), cells}));
    };
    EXPECT_EQ(second({}), "");
    EXPECT_EQ(second({{"model", "system.status"}}),
              "t.tsv:3: model: \"system.status\", but "
              "\"cabinets[number=cabinet].fans[object].status\" for getFanStatus, which reads the "
              "same\n");
    EXPECT_EQ(second({{"model", "system.status"}, {"opcode", "0x0302"}}), "");
}

TEST(Table, ASetterHasThePlaceOfItsGetter) {
    const Cells reader = soundRow({{"opcode", "0xE001"}, {"ext", "0x0071"}});
    const auto faults = [&](const std::string& model) {
        return faultsOf(
            tableText({reader, soundRow({{"index", "1"},
                                         {"name", "setFan"},
                                         {"arguments", "const KOLMKey& key, cimple::uint8 value"},
                                         {"returns", "void"},
                                         {"opcode", "0xE002"},
                                         {"ext", "0x0071"},
                                         {"data", "byte value"},
                                         {"reply", "none"},
                                         {"changes", "yes"},
                                         {"model", model}})}));
    };
    EXPECT_EQ(faults(reader.at("model")), "");
    EXPECT_EQ(faults("system.status"),
              "t.tsv:3: model: \"system.status\", but "
              "\"cabinets[number=cabinet].fans[object].status\" for getFanStatus, which reads what "
              "this one sets\n");
}

TEST(Table, TellsEveryFaultAtOnce) {
    const std::string faults =
        faultsOf(tableText({soundRow({{"opcode", "769"}, {"sends", "maybe"}}),
                            soundRow({{"index", "1"}, {"unit", "?"}})}));
    EXPECT_NE(faults.find("t.tsv:2: opcode: \"769\" is not allowed; it is "), faults.npos)
        << faults;
    EXPECT_NE(faults.find("t.tsv:2: sends: \"maybe\" is not allowed; it is "), faults.npos);
    EXPECT_NE(faults.find("t.tsv:3: unit: \"?\" is not allowed; it is "), faults.npos);
}

TEST(Table, ReadsAFile) {
    const TemporaryDirectory directory;
    writeFile(directory.file("t.tsv"), tableText({soundRow()}));
    EXPECT_EQ(Table::read(directory.file("t.tsv")).rows().size(), 1U);
    EXPECT_THROW(Table::read(directory.file("absent")), Malformed);
    EXPECT_THROW(Table::read(directory.path()), Malformed);
}

}  // namespace
}  // namespace varnock::test
