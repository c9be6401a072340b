#include "cli/output/Output.h"

#include <gtest/gtest.h>

namespace varnockctl {
namespace {

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

ExitStatus printed(Answer answer, Format format) {
    return print(answer, format);
}

std::optional<ExitStatus> printedFirst(Answer answer, Format format) {
    return printFirst(answer, format);
}

constexpr const char* kEmpty = "{\n    \"format_version\": 1,\n    \"items\": []\n}\n";

Answer endOfList() {
    return listAnswer("items");
}

TEST(Output, StreamedItemsAreOneDocument) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem("items", Json(1), "one", Format::json));
                  EXPECT_TRUE(printItem("items", Json(2), "two", Format::json));
                  EXPECT_EQ(printed(endOfList(), Format::json), ExitStatus::done);
                  EXPECT_FALSE(printItem("items", Json(3), "three", Format::json));
              }),
              "{\"format_version\":1,\"items\":[\n1\n,2\n]}\n");
}

TEST(Output, AListWithoutItemsIsADocumentToo) {
    EXPECT_EQ(printedBy([] { EXPECT_EQ(printed(endOfList(), Format::json), ExitStatus::done); }),
              kEmpty);
}

TEST(Output, StreamedItemsAreLinesOfATable) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem("items", Json(1), "one", Format::table));
                  EXPECT_TRUE(printItem("items", Json(2), "two", Format::table));
                  EXPECT_EQ(printed(endOfList(), Format::table), ExitStatus::done);
              }),
              "one\ntwo\n");
}

TEST(Output, AListWithoutItemsIsAnEmptyTable) {
    EXPECT_EQ(printedBy([] { EXPECT_EQ(printed(endOfList(), Format::table), ExitStatus::done); }),
              "");
}

TEST(Output, AFailureFollowsAListThatHasBegun) {
    EXPECT_EQ(
        printedBy([] {
            EXPECT_TRUE(printItem("items", Json(1), "one", Format::json));
            EXPECT_EQ(printed(failureAnswer(ExitStatus::timeout, "late"), Format::json),
                      ExitStatus::timeout);
        }),
        "{\"format_version\":1,\"items\":[\n1\n],\"error\":{\"status\":5,\"message\":\"late\"}}\n");
}

TEST(Output, AFailureIsTheLastLineOfAListOfLines) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem("items", Json(1), "one", Format::jsonl));
                  EXPECT_EQ(printed(failureAnswer(ExitStatus::timeout, "late"), Format::jsonl),
                            ExitStatus::timeout);
              }),
              "1\n{\"error\":{\"status\":5,\"message\":\"late\"}}\n");
}

TEST(Output, AFailureIsNotARowOfAListThatHasBegun) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem("items", Json(1), "one", Format::csv));
                  EXPECT_EQ(printed(failureAnswer(ExitStatus::timeout, "late"), Format::csv),
                            ExitStatus::timeout);
              }),
              "value\n1\n");
}

TEST(Output, JsonLinesHaveOneItemEach) {
    JsonDocument document;
    document.Parse(R"([{"a":1},{"a":2}])");
    EXPECT_EQ(toJsonLines(document), "{\"a\":1}\n{\"a\":2}\n");
    EXPECT_EQ(toJsonLines(document[0]), "{\"a\":1}\n");
}

TEST(Output, StreamedItemsAreLinesOfJson) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem("items", Json(1), "one", Format::jsonl));
                  EXPECT_TRUE(printItem("items", Json(2), "two", Format::jsonl, Flush::later));
                  EXPECT_EQ(printed(endOfList(), Format::jsonl), ExitStatus::done);
              }),
              "1\n2\n");
}

TEST(Output, StreamedItemsAreRowsOfOneTable) {
    EXPECT_EQ(printedBy([] {
                  JsonDocument item;
                  item.Parse(R"({"a":1,"b":"x"})");
                  EXPECT_TRUE(printItem("items", item, "one", Format::csv));
                  EXPECT_TRUE(printItem("items", item, "two", Format::csv));
                  EXPECT_EQ(printed(endOfList(), Format::csv), ExitStatus::done);
              }),
              "a,b\n1,x\n1,x\n");
}

TEST(Output, AFailureIsALineOfJson) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_EQ(printed(failureAnswer(ExitStatus::noAgent, "gone"), Format::jsonl),
                            ExitStatus::noAgent);
              }),
              "{\"error\":{\"status\":4,\"message\":\"gone\"}}\n");
}

TEST(Output, AFailureIsNotARow) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_EQ(printed(failureAnswer(ExitStatus::noAgent, "gone"), Format::csv),
                            ExitStatus::noAgent);
              }),
              "");
}

TEST(Output, OnlyTheFirstAnswerIsPrinted) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_EQ(printedFirst(endOfList(), Format::json), ExitStatus::done);
                  EXPECT_EQ(printedFirst(failureAnswer(ExitStatus::timeout, "late"), Format::json),
                            std::nullopt);
              }),
              kEmpty);
}

TEST(Output, AResultThatIsNotWholeHasTheShapeOfAFailureToo) {
    Answer answer;
    answer.status = ExitStatus::partial;
    answer.document.SetObject();
    add(answer.document, "value", Json(1), answer.document.GetAllocator());
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(print(answer, Format::json), ExitStatus::partial); }),
              "{\n    \"format_version\": 1,\n    \"value\": 1,\n    \"error\": {\n"
              "        \"status\": 7,\n        \"message\": \"a part of the result is missing\"\n"
              "    }\n}\n");
}

TEST(Output, AResultThatIsNotWholeNamesItsProblem) {
    Answer answer = listAnswer("items");
    answer.fail(ExitStatus::partial, "one is missing");
    EXPECT_EQ(printedBy([&] {
                  EXPECT_TRUE(printItem("items", Json(1), "", Format::json));
                  EXPECT_EQ(print(answer, Format::json), ExitStatus::partial);
              }),
              "{\"format_version\":1,\"items\":[\n1\n],\"error\":{\"status\":7,"
              "\"message\":\"one is missing\"}}\n");
}

TEST(Output, AnAnswerWithoutMembersIsADocument) {
    Answer answer;
    answer.document.SetObject();
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(print(answer, Format::json), ExitStatus::done); }),
              "{\n    \"format_version\": 1\n}\n");
}

TEST(Output, AnEndingIsADocumentWithTheVersion) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_EQ(printFailureFirst({ExitStatus::timeout, "late"}, Format::json),
                            ExitStatus::timeout);
              }),
              "{\"format_version\":1,\"error\":{\"status\":5,\"message\":\"late\"}}\n");
}

TEST(Output, AnEndingClosesAListThatHasBegun) {
    EXPECT_EQ(printedBy([] {
                  EXPECT_TRUE(printItem("items", Json(1), "", Format::json));
                  EXPECT_EQ(printFailureFirst({ExitStatus::timeout, "late"}, Format::json),
                            ExitStatus::timeout);
              }),
              "{\"format_version\":1,\"items\":[\n1\n],\"error\":{\"status\":5,"
              "\"message\":\"late\"}}\n");
}

}  // namespace
}  // namespace varnockctl
