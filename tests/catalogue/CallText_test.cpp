#include "catalogue/CallText.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "catalogue/Table.h"

namespace varnock::test {
namespace {

using catalogue::absentResult;
using catalogue::failureText;
using catalogue::Row;

const std::vector<Row>& rows() {
    static const auto table = catalogue::Table::read(VARNOCK_SOURCE_DIR "/catalogue/calls.tsv");
    return table.rows();
}

const Row& row(std::string_view name) {
    return *std::find_if(rows().begin(), rows().end(),
                         [&](const Row& each) { return each.name == name; });
}

TEST(CallText, SaysWhatIsGivenWhenThereIsNothing) {
    EXPECT_EQ(absentResult(row("getNumberFans")), "0");
    EXPECT_EQ(absentResult(row("getFanName")), "null");
    EXPECT_EQ(absentResult(row("getVoltageThresholds")), "an empty list");
    EXPECT_EQ(absentResult(row("getComponentRelationParent")), "a key of all ones");
    EXPECT_EQ(absentResult(row("getDeviceInfoReadBusConfig")), "false");
    EXPECT_EQ(absentResult(row("getConfWatchdogPresent")), "false");
    EXPECT_EQ(absentResult(row("doClearLog")), "");
}

TEST(CallText, SaysHowACallFails) {
    EXPECT_EQ(failureText(row("getNumberFans")), "traced, gives 0");
    EXPECT_EQ(failureText(row("getFanStatus")), "throws; at status 19 or 25 gives 0");
    EXPECT_EQ(failureText(row("getCabNrs")), "throws");
    EXPECT_EQ(failureText(row("getNumberSystemBoards")),
              "traced, but for status 19 and 25, gives 0");
    EXPECT_EQ(failureText(row("getControllerCardKeys")),
              "traced, gives an empty list; throws when a later command fails");
    EXPECT_EQ(failureText(row("getConfAlarmQORVAId")), "gives null");
    EXPECT_EQ(failureText(row("doClearLog")), "traced");
    EXPECT_EQ(failureText(row("getFanInstanceID")), "gives null");
    EXPECT_EQ(failureText(row("setConfAlarmQORVAId")), "");
    EXPECT_EQ(failureText(row("passThroughRequest")), "the client's result");
}

TEST(CallText, ThePageHasALineForEveryCall) {
    const std::string page = catalogue::callsPage({row("getCurrentFanSpeed"), row("doClearLog")});
    EXPECT_NE(
        page.find("\n| 92 | `getCurrentFanSpeed --cabinet N --object N` | cimple::uint16 | "
                  "revolutions per minute | 0x0302, object key objectId, cabinet key "
                  "cabinetNr | traced, gives 0 | fan | Speed of a fan in revolutions per "
                  "minute. |\n| 0 | `doClearLog --cabinet N` | void | none | 0x0B03, object 0 "
                  "/ 1, cabinet key cabinetNr | traced | log | Clears the system log, then the "
                  "message log. Stops at the first that fails; failures are only traced. "
                  "Changes state. |\n"),
        page.npos)
        << page;
}

TEST(CallText, ThePageEscapesWhatMarkdownWouldTake) {
    const std::string page = catalogue::callsPage({row("getCabNrs")});
    EXPECT_NE(page.find("std::vector\\<cimple::uint32\\>"), page.npos) << page;
}

TEST(CallText, TheManualHasAnItemForEveryCall) {
    const std::string page = catalogue::callsManual({row("getCurrentFanSpeed"), row("doClearLog")});
    EXPECT_NE(page.find("\n.It Ic getCurrentFanSpeed --cabinet N --object N\nSpeed of a fan in "
                        "revolutions per minute.\nReturns cimple::uint16, revolutions per minute.\n"
                        "Command: 0x0302, object key objectId, cabinet key cabinetNr.\n"
                        "On failure: traced, gives 0.\n.It Ic doClearLog --cabinet N\n"),
              page.npos)
        << page;
    EXPECT_NE(page.find("Changes state.\nReturns void, none.\n"), page.npos) << page;
}

}  // namespace
}  // namespace varnock::test
