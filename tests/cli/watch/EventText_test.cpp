#include "cli/watch/EventText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace varnockctl {
namespace {

SipJson& imported(SipJson& event, const char* command) {
    event.Import((std::string(R"({"SIP":{"V":1,"CMD":[)") + command + "]}}").c_str());
    return event;
}

std::string lineOf(const char* command) {
    SipJson event;
    return eventLine(imported(event, command));
}

std::string jsonOf(const char* command) {
    SipJson event;
    JsonDocument document;
    return toString(eventJson(imported(event, command), "now", document.GetAllocator()), false);
}

TEST(EventText, NamesTheEventsOfTheLogs) {
    EXPECT_EQ(lineOf(R"({"OC":2833,"CA":0,"ST":0,"DA":7})"), "systemMessageLog 7");
    EXPECT_EQ(lineOf(R"({"OC":6171,"CA":0,"ST":0,"DA":4294967295})"),
              "driverMonitorLog 4294967295");
}

TEST(EventText, ShowsEveryNumberThatIsNot0) {
    EXPECT_EQ(lineOf(R"({"OC":16,"OE":255,"OI":3,"CA":4,"ST":19,"DA":{"RAW":[1,2]}})"),
              R"(0x0010 ext=0x00FF object=3 cabinet=4 status=19 {"RAW":[1,2]})");
    EXPECT_EQ(lineOf(R"({"OC":16,"ST":0})"), "0x0010");
    // The status of an event without one.
    EXPECT_EQ(lineOf(R"({"OC":16})"), "0x0010 status=22");
}

TEST(EventText, ShowsAllNumbersAsJson) {
    EXPECT_EQ(jsonOf(R"({"OC":2833,"ST":0,"DA":7})"),
              R"({"time":"now","event":"systemMessageLog","opcode":2833,"ext":0,"object":0,)"
              R"("cabinet":0,"status":0,"data":7})");
    EXPECT_EQ(jsonOf(R"({"OC":16,"OE":1,"OI":2,"CA":3,"ST":4})"),
              R"({"time":"now","event":"0x0010","opcode":16,"ext":1,"object":2,)"
              R"("cabinet":3,"status":4,"data":null})");
}

/// The items as rows, each as JSON without the members that all rows of an item share.
std::vector<std::string> rowsAsText(const Json& item, JsonAllocator& allocator) {
    std::vector<std::string> texts;
    for (Json& row : rowsOf(item, allocator)) {
        for (const char* name : {"time", "event", "opcode", "ext", "object", "cabinet", "status"}) {
            EXPECT_TRUE(row.EraseMember(name)) << name;
        }
        texts.push_back(toString(row, false));
    }
    return texts;
}

std::vector<std::string> rowsOfEvent(const char* command) {
    SipJson event;
    JsonDocument document;
    auto& allocator = document.GetAllocator();
    return rowsAsText(eventJson(imported(event, command), "now", allocator), allocator);
}

TEST(EventText, AGapHasAllMembersOfAnEvent) {
    JsonDocument document;
    const EventGap gap{std::chrono::milliseconds(1234)};
    EXPECT_EQ(toString(gapJson(gap, "now", document.GetAllocator()), false),
              R"({"time":"now","event":null,"opcode":null,"ext":null,"object":null,)"
              R"("cabinet":null,"status":null,"data":null,"gap":{)"
              R"("reason":"there was no agent","milliseconds":1234,"events":null}})");
    EXPECT_EQ(gap.text(), "no agent for 1234 ms; events may be missing");
}

TEST(EventText, EachValueOfTheDataIsARow) {
    using testing::ElementsAre;
    EXPECT_THAT(rowsOfEvent(R"({"OC":16,"DA":7})"), ElementsAre(R"({"member":null,"data":7})"));
    EXPECT_THAT(rowsOfEvent(R"({"OC":16})"), ElementsAre(R"({"member":null,"data":null})"));
    EXPECT_THAT(rowsOfEvent(R"({"OC":16,"DA":{"RAW":[1,2],"b":{"c":"x"}}})"),
                ElementsAre(R"({"member":"RAW[0]","data":1})", R"({"member":"RAW[1]","data":2})",
                            R"({"member":"b.c","data":"x"})"));
    EXPECT_THAT(rowsOfEvent(R"({"OC":16,"DA":{}})"), ElementsAre(R"({"member":null,"data":null})"));
    EXPECT_THAT(rowsOfEvent(R"({"OC":16,"DA":[]})"), ElementsAre(R"({"member":null,"data":null})"));
}

TEST(EventText, EachValueOfAGapIsARowWithTheMembersOfAnEvent) {
    JsonDocument document;
    auto& allocator = document.GetAllocator();
    EXPECT_THAT(rowsAsText(gapJson({std::chrono::milliseconds(5)}, "now", allocator), allocator),
                testing::ElementsAre(R"({"member":"gap.reason","data":"there was no agent"})",
                                     R"({"member":"gap.milliseconds","data":5})",
                                     R"({"member":"gap.events","data":null})"));
}

TEST(EventText, EscapesInvalidUtf8) {
    EXPECT_EQ(lineOf("{\"OC\":16,\"ST\":0,\"DA\":\"a\xFFz\"}"), R"(0x0010 "a\\xFFz")");
    EXPECT_NE(jsonOf("{\"OC\":16,\"DA\":[{\"\xFE\":\"\xFF\"}]}").find(R"([{"\\xFE":"\\xFF"}])"),
              std::string::npos);
}

TEST(EventText, AcceptsRecordsThatAreNotEvents) {
    SipJson event;
    for (const char* text : {"", "[]", R"({"SIP":5})", R"({"SIP":{"CMD":[7]}})"}) {
        event.Import(text);
        EXPECT_EQ(eventLine(event), "0x0000 status=22") << text;
    }
}

}  // namespace
}  // namespace varnockctl
