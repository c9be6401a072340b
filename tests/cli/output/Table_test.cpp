#include "cli/output/Table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace varnockctl {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string tableOf(const std::string& json, const Screen& screen = {}) {
    JsonDocument document;
    document.Parse(json.c_str());
    EXPECT_FALSE(document.HasParseError());
    return toTable(document, screen);
}

constexpr Screen narrow(std::size_t width, bool isUtf8 = true) {
    return {.width = width, .isUtf8 = isUtf8, .hasGlyphs = isUtf8, .hasColour = false};
}

TEST(Table, AScalarStandsAlone) {
    EXPECT_EQ(tableOf("42"), "42\n");
    EXPECT_EQ(tableOf("\"a b\""), "a b\n");
    EXPECT_EQ(tableOf("true"), "true\n");
    EXPECT_EQ(tableOf("null"), "-\n");
}

TEST(Table, AListOfScalarsIsOneToALine) {
    EXPECT_EQ(tableOf("[1,2]"), "1\n2\n");
    EXPECT_EQ(tableOf("[]"), "");
}

TEST(Table, AnObjectIsNamesAndValues) {
    EXPECT_EQ(tableOf(R"({"name":"x","empty":"","gone":null,"bytes":[10,0,0,1]})"),
              "name   x\nempty  -\ngone   -\nbytes  10 0 0 1\n");
    EXPECT_EQ(tableOf("{}"), "");
}

TEST(Table, AListOfObjectsHasColumns) {
    EXPECT_EQ(tableOf(R"([{"name":"a","size":5},{"name":"bc","size":10}])"),
              "name size\na       5\nbc     10\n");
}

TEST(Table, AColumnOfNumbersMayBeginWithAnAbsentOne) {
    EXPECT_EQ(tableOf(R"([{"size":null},{"size":10},{}])"), "size\n   -\n  10\n\n");
}

TEST(Table, ObjectsInObjectsAreATree) {
    const std::string json = R"({"system":{"name":"x","model":"y"},"list":[{"n":1}]})";
    EXPECT_EQ(tableOf(json, narrow(80)),
              "system   \n\u251C\u2500name   x\n\u2514\u2500model  y\nlist\n  n\n  1\n");
    EXPECT_EQ(tableOf(json), "system   \n|-name   x\n`-model  y\nlist\n  n\n  1\n");
}

TEST(Table, ALongTextOfAListEndsInAnEllipsis) {
    const std::string json =
        R"([{"code":"0x0301","text":"a text of more columns than the screen has"}])";
    EXPECT_EQ(tableOf(json, narrow(20)), "code   text\n0x0301 a text of mo\u2026\n");
    EXPECT_EQ(tableOf(json, narrow(20, false)), "code   text\n0x0301 a text of ...\n");
    EXPECT_EQ(tableOf(json), "code   text\n0x0301 a text of more columns than the screen has\n");
}

TEST(Table, ALongTextOfATreeContinuesBetweenWords) {
    EXPECT_EQ(tableOf(R"({"text":"one two three four","n":1})", narrow(15)),
              "text  one two\n      three\n      four\nn     1\n");
}

TEST(Table, NoLineIsLongerThanTheScreen) {
    const std::string json =
        R"({"a":{"b":"one two three four five six seven eight nine ten"},)"
        R"("list":[{"a":"12345678901234567890","b":"12345678901234567890","c":"\u4E2D\u6587"},)"
        R"({"a":"short","b":"12345678901234567890","c":"x"}]})";
    for (std::size_t width = 12; width < 60; ++width) {
        std::istringstream lines(tableOf(json, narrow(width, false)));
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), width) << line;
        }
    }
}

TEST(Table, AStateThatIsNotWellIsColoured) {
    const std::string json = R"([{"state":"ok","n":"one"},{"state":"failed","n":"two"}])";
    const std::string coloured =
        tableOf(json, {.width = 80, .isUtf8 = true, .hasGlyphs = true, .hasColour = true});
    EXPECT_THAT(coloured, HasSubstr("\x1B[31m"));
    EXPECT_THAT(coloured, HasSubstr("ok     one\n"));
    EXPECT_THAT(tableOf(json, narrow(80)), Not(HasSubstr("\x1B")));
}

TEST(Table, ControlCharactersAreEscapedInCellsAndNames) {
    EXPECT_EQ(tableOf(R"([{"a\u001b":"x\ny"}])"), "a\\x1B\nx\\x0Ay\n");
    EXPECT_EQ(tableOf(R"({"a\u001b":"x\ny"})"), "a\\x1B  x\\x0Ay\n");
}

TEST(Table, APlainTableHasNoNames) {
    JsonDocument rows;
    rows.Parse(R"([{"state":"ok","finding":"one two three"},{"state":"","finding":"four"}])");
    EXPECT_EQ(toPlainTable(rows, "finding", narrow(12)), "ok one two\n   three\n   four\n");
    rows.Parse("[]");
    EXPECT_EQ(toPlainTable(rows, "finding", {}), "");
}

}  // namespace
}  // namespace varnockctl
