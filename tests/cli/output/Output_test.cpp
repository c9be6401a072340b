#include "cli/output/Output.h"

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

// What is printed while the function runs.
template <typename Function>
std::string printedBy(Function function) {
    testing::internal::CaptureStdout();
    function();
    return testing::internal::GetCapturedStdout();
}

Answer endOfList() {
    Answer answer;
    answer.streamed = true;
    answer.document.SetArray();
    return answer;
}

TEST(Output, ItemsThatComeByAndByAreOneDocument) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem(Json(1), "one", Format::json));
                  EXPECT_TRUE(printItem(Json(2), "two", Format::json));
                  EXPECT_EQ(print(endOfList(), Format::json), ExitStatus::done);
                  EXPECT_FALSE(printItem(Json(3), "three", Format::json));
              }),
              "[\n1\n,2\n]\n");
}

TEST(Output, AListWithoutItemsIsADocumentToo) {
    EXPECT_EQ(printedBy([] { print(endOfList(), Format::json); }), "[]\n");
}

TEST(Output, ItemsThatComeByAndByAreLinesOfATable) {
    EXPECT_EQ(printedBy([] {
                  printItem(Json(1), "one", Format::table);
                  printItem(Json(2), "two", Format::table);
                  print(endOfList(), Format::table);
              }),
              "one\ntwo\n");
}

TEST(Output, AListWithoutItemsIsAnEmptyTable) {
    EXPECT_EQ(printedBy([] { print(endOfList(), Format::table); }), "");
}

TEST(Output, AFailureIsTheLastItemOfAListThatHasBegun) {
    EXPECT_EQ(printedBy([] {
                  printItem(Json(1), "one", Format::json);
                  EXPECT_EQ(print(failureAnswer(ExitStatus::timeout, "late"), Format::json),
                            ExitStatus::timeout);
              }),
              "[\n1\n,{\"error\":{\"status\":5,\"message\":\"late\"}}\n]\n");
}

TEST(Output, AFailureIsTheLastLineOfAListOfLines) {
    EXPECT_EQ(printedBy([] {
                  printItem(Json(1), "one", Format::jsonl);
                  print(failureAnswer(ExitStatus::timeout, "late"), Format::jsonl);
              }),
              "1\n{\"error\":{\"status\":5,\"message\":\"late\"}}\n");
}

TEST(Output, AFailureIsNoRowOfAListThatHasBegun) {
    EXPECT_EQ(printedBy([] {
                  printItem(Json(1), "one", Format::csv);
                  print(failureAnswer(ExitStatus::timeout, "late"), Format::csv);
              }),
              "value\n1\n");
}

std::string csvOf(const char* json) {
    JsonDocument document;
    document.Parse(json);
    EXPECT_FALSE(document.HasParseError());
    return toCsv(document);
}

TEST(Output, CsvHasTheNamesInItsFirstRow) {
    EXPECT_EQ(csvOf(R"([{"name":"a","size":5},{"name":"b","size":null},{"size":7}])"),
              "name,size\na,5\nb,\n,7\n");
    EXPECT_EQ(csvOf(R"({"name":"a","flag":true})"), "name,flag\na,true\n");
    EXPECT_EQ(csvOf("[]"), "");
    EXPECT_EQ(csvOf("[1,2]"), "value\n1\n2\n");
    EXPECT_EQ(csvOf("\"text\""), "value\ntext\n");
}

TEST(Output, CsvQuotesWhatNeedsIt) {
    EXPECT_EQ(csvOf(R"([{"a":"x,y","b":"say \"hi\"","c":"two\nlines","d":[1,2]}])"),
              "a,b,c,d\n\"x,y\",\"say \"\"hi\"\"\",\"two\nlines\",\"[1,2]\"\n");
}

TEST(Output, JsonLinesHaveOneItemEach) {
    JsonDocument document;
    document.Parse(R"([{"a":1},{"a":2}])");
    EXPECT_EQ(toJsonLines(document), "{\"a\":1}\n{\"a\":2}\n");
    EXPECT_EQ(toJsonLines(document[0]), "{\"a\":1}\n");
}

TEST(Output, ItemsThatComeByAndByAreLinesOfJson) {
    EXPECT_EQ(printedBy([] {
                  printItem(Json(1), "one", Format::jsonl);
                  printItem(Json(2), "two", Format::jsonl, Flush::later);
                  print(endOfList(), Format::jsonl);
              }),
              "1\n2\n");
}

TEST(Output, ItemsThatComeByAndByAreRowsOfOneTable) {
    EXPECT_EQ(printedBy([] {
                  JsonDocument item;
                  item.Parse(R"({"a":1,"b":"x"})");
                  printItem(item, "one", Format::csv);
                  printItem(item, "two", Format::csv);
                  print(endOfList(), Format::csv);
              }),
              "a,b\n1,x\n1,x\n");
}

TEST(Output, AFailureIsALineOfJson) {
    EXPECT_EQ(printedBy([] { print(failureAnswer(ExitStatus::noAgent, "gone"), Format::jsonl); }),
              "{\"error\":{\"status\":4,\"message\":\"gone\"}}\n");
}

TEST(Output, AFailureIsNoRow) {
    EXPECT_EQ(printedBy([] { print(failureAnswer(ExitStatus::noAgent, "gone"), Format::csv); }),
              "");
}

TEST(Output, OnlyTheFirstAnswerIsPrinted) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_EQ(printFirst(endOfList(), Format::json), ExitStatus::done);
                  EXPECT_EQ(printFirst(failureAnswer(ExitStatus::timeout, "late"), Format::json),
                            std::nullopt);
              }),
              "[]\n");
}

}  // namespace
}  // namespace varnockctl
