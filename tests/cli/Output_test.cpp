#include "cli/Output.h"

#include <gtest/gtest.h>

namespace varnockctl {
namespace {

std::string tableOf(const char* json) {
    JsonDocument document;
    document.Parse(json);
    EXPECT_FALSE(document.HasParseError());
    return toTable(document);
}

TEST(Output, AScalarStandsAlone) {
    EXPECT_EQ(tableOf("42"), "42\n");
    EXPECT_EQ(tableOf("\"a b\""), "a b\n");
    EXPECT_EQ(tableOf("true"), "true\n");
    EXPECT_EQ(tableOf("null"), "-\n");
}

TEST(Output, AListOfScalarsIsOneToALine) {
    EXPECT_EQ(tableOf("[1,2]"), "1\n2\n");
    EXPECT_EQ(tableOf("[]"), "");
}

TEST(Output, AnObjectIsNamesAndValues) {
    EXPECT_EQ(tableOf(R"({"name":"x","empty":"","gone":null,"bytes":[10,0,0,1]})"),
              "name   x\nempty  -\ngone   -\nbytes  10 0 0 1\n");
}

TEST(Output, AListOfObjectsHasColumns) {
    EXPECT_EQ(tableOf(R"([{"name":"a","size":5},{"name":"bc","size":10}])"),
              "name size\na       5\nbc     10\n");
}

TEST(Output, NestedObjectsAreIndented) {
    EXPECT_EQ(tableOf(R"({"system":{"name":"x"},"list":[{"n":1}]})"),
              "system\n  name  x\nlist\n  n\n  1\n");
}

TEST(Output, AFailureNamesItsStatusInTheDocument) {
    const Answer answer = failureAnswer(ExitStatus::noAgent, "gone");
    EXPECT_EQ(toString(answer.document, false), R"({"error":{"status":4,"message":"gone"}})");
}

}  // namespace
}  // namespace varnockctl
