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

/// The text that the function prints.
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

TEST(Output, StreamedItemsAreOneDocument) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem(Json(1), "one", Format::json));
                  EXPECT_TRUE(printItem(Json(2), "two", Format::json));
                  EXPECT_EQ(print(endOfList(), Format::json), ExitStatus::done);
                  EXPECT_FALSE(printItem(Json(3), "three", Format::json));
              }),
              "[\n1\n,2\n]\n");
}

TEST(Output, AListWithoutItemsIsADocumentToo) {
    EXPECT_EQ(printedBy([] { EXPECT_EQ(print(endOfList(), Format::json), ExitStatus::done); }),
              "[]\n");
}

TEST(Output, StreamedItemsAreLinesOfATable) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem(Json(1), "one", Format::table));
                  EXPECT_TRUE(printItem(Json(2), "two", Format::table));
                  EXPECT_EQ(print(endOfList(), Format::table), ExitStatus::done);
              }),
              "one\ntwo\n");
}

TEST(Output, AListWithoutItemsIsAnEmptyTable) {
    EXPECT_EQ(printedBy([] { EXPECT_EQ(print(endOfList(), Format::table), ExitStatus::done); }),
              "");
}

TEST(Output, AFailureIsTheLastItemOfAListThatHasBegun) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem(Json(1), "one", Format::json));
                  EXPECT_EQ(print(failureAnswer(ExitStatus::timeout, "late"), Format::json),
                            ExitStatus::timeout);
              }),
              "[\n1\n,{\"error\":{\"status\":5,\"message\":\"late\"}}\n]\n");
}

TEST(Output, AFailureIsTheLastLineOfAListOfLines) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem(Json(1), "one", Format::jsonl));
                  EXPECT_EQ(print(failureAnswer(ExitStatus::timeout, "late"), Format::jsonl),
                            ExitStatus::timeout);
              }),
              "1\n{\"error\":{\"status\":5,\"message\":\"late\"}}\n");
}

TEST(Output, AFailureIsNotARowOfAListThatHasBegun) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem(Json(1), "one", Format::csv));
                  EXPECT_EQ(print(failureAnswer(ExitStatus::timeout, "late"), Format::csv),
                            ExitStatus::timeout);
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
              "a,b,c,d\n\"x,y\",\"say \"\"hi\"\"\",two\\x0Alines,\"[1,2]\"\n");
}

TEST(Output, JsonLinesHaveOneItemEach) {
    JsonDocument document;
    document.Parse(R"([{"a":1},{"a":2}])");
    EXPECT_EQ(toJsonLines(document), "{\"a\":1}\n{\"a\":2}\n");
    EXPECT_EQ(toJsonLines(document[0]), "{\"a\":1}\n");
}

TEST(Output, StreamedItemsAreLinesOfJson) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem(Json(1), "one", Format::jsonl));
                  EXPECT_TRUE(printItem(Json(2), "two", Format::jsonl, Flush::later));
                  EXPECT_EQ(print(endOfList(), Format::jsonl), ExitStatus::done);
              }),
              "1\n2\n");
}

TEST(Output, StreamedItemsAreRowsOfOneTable) {
    EXPECT_EQ(printedBy([] {
                  JsonDocument item;
                  item.Parse(R"({"a":1,"b":"x"})");
                  EXPECT_TRUE(printItem(item, "one", Format::csv));
                  EXPECT_TRUE(printItem(item, "two", Format::csv));
                  EXPECT_EQ(print(endOfList(), Format::csv), ExitStatus::done);
              }),
              "a,b\n1,x\n1,x\n");
}

TEST(Output, AFailureIsALineOfJson) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_EQ(print(failureAnswer(ExitStatus::noAgent, "gone"), Format::jsonl),
                            ExitStatus::noAgent);
              }),
              "{\"error\":{\"status\":4,\"message\":\"gone\"}}\n");
}

TEST(Output, AFailureIsNotARow) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_EQ(print(failureAnswer(ExitStatus::noAgent, "gone"), Format::csv),
                            ExitStatus::noAgent);
              }),
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
