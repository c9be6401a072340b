#include "cli/CallText.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

bool mentions(std::string_view text, std::string_view word) {
    return text.find(word) != std::string_view::npos;
}

const CatalogueRow& row(std::string_view name) {
    return *findCall(name);
}

TEST(CallText, TakesTheCommentBeforeEachOperation) {
    const auto comments = parseComments(
        "/// The class.\n"
        "class C {\n"
        "    /// A type.\n"
        "    using T = int;\n"
        "\n"
        "    /// One\n"
        "    /// and a half.\n"
        "    virtual int one(\n"
        "        int) = 0;\n"
        "    virtual int two() = 0;\n"
        "    /// Three.\n"
        "    virtual int three() = 0;\n"
        "    virtual ~C();\n"
        "};");
    EXPECT_EQ(comments, (std::vector<std::string>{"One and a half.", "", "Three."}));
}

TEST(CallText, TheHeaderExplainsEveryOperation) {
    ASSERT_EQ(callComments().size(), catalogue().size());
    for (const CatalogueRow& each : catalogue()) {
        EXPECT_GT(meaning(each).size(), 10U) << each.operation;
        EXPECT_EQ(meaning(each).back(), '.') << each.operation;
    }
    EXPECT_EQ(meaning(row("getCurrentFanSpeed")), "Speed of a fan in revolutions per minute.");
    EXPECT_EQ(meaning(row("setConfSystemContact")),
              "Sets the contact person of the system. Throws.");
}

TEST(CallText, TheHeaderSaysWhatThrows) {
    for (const CatalogueRow& each : catalogue()) {
        EXPECT_EQ(mentions(meaning(each), "Throws"), mentions(each.failure, "throws"))
            << each.operation << ": " << meaning(each);
    }
}

TEST(CallText, TheHeaderSaysWhereTheExtensionMatters) {
    for (const CatalogueRow& each : catalogue()) {
        if (each.ext == "key opCodeExt") {
            EXPECT_TRUE(mentions(meaning(each), "opCodeExt")) << each.operation;
        }
    }
}

TEST(CallText, NumbersHaveAUnitOrAreCodedOrCounted) {
    const std::set<std::string_view> plain{// Numbers that are their own meaning.
                                           "getCPUFamily",
                                           "getCPUStepping",
                                           "getConfBMCHttpPort",
                                           "getConfBMCHttpsPort",
                                           "getConfBMCSshPort",
                                           "getConfBMCTelnetPort",
                                           "getConfCIMRecordLogLanguage",
                                           "getCpuApicId",
                                           "getDrvMonEventId",
                                           "getUmServerUpdateCheckErrorCode"};
    for (const CatalogueRow& each : catalogue()) {
        if (!mentions(each.returnType, "int8") && !mentions(each.returnType, "int16") &&
            !mentions(each.returnType, "int32")) {
            continue;
        }
        if (mentions(each.returnType, "Array") || mentions(each.returnType, "vector") ||
            plain.contains(each.operation)) {
            continue;
        }
        bool explained = false;
        for (const char* word : {"coded",   "How many",   "unit",       "percent", "MHz",
                                 "KiB",     "MiB",        "millivolts", "watts",   "Celsius",
                                 "seconds", "per minute", "Number of",  "number",  "Whether",
                                 "hours",   "bits",       "processors", "Cores",   "attempts"}) {
            explained = explained || mentions(meaning(each), word);
        }
        EXPECT_TRUE(explained) << each.operation << ": " << meaning(each);
    }
}

TEST(CallText, SaysWhatIsGivenWhenThereIsNothing) {
    EXPECT_EQ(absentResult(row("getNumberFans")), "0");
    EXPECT_EQ(absentResult(row("getFanName")), "null");
    EXPECT_EQ(absentResult(row("getVoltageThresholds")), "an empty list");
    EXPECT_EQ(absentResult(row("getComponentRelationParent")), "a key of all ones");
    EXPECT_EQ(absentResult(row("getDeviceInfoReadBusConfig")), "false");
    EXPECT_EQ(absentResult(row("doClearLog")), "");
}

TEST(CallText, SaysHowACallFails) {
    EXPECT_EQ(failureText(row("getNumberFans")), "traced, gives 0");
    EXPECT_EQ(failureText(row("getFanStatus")), "throws; at status 19 or 25 gives 0");
    EXPECT_EQ(failureText(row("getCabNrs")), "throws");
    EXPECT_EQ(failureText(row("getNumberSystemBoards")),
              "traced, but for status 19 and 25, gives 0");
    EXPECT_EQ(failureText(row("doClearLog")), "traced");
    EXPECT_EQ(failureText(row("getFanInstanceID")), "gives null");
    EXPECT_EQ(failureText(row("setConfAlarmQORVAId")), "");
    EXPECT_EQ(failureText(row("passThroughRequest")), "the client's result");
}

TEST(CallText, ThePageOfTheCallsIsCurrent) {
    const std::string path = std::string(VARNOCK_TEST_DATA_DIR) + "/../../docs/calls.md";
    EXPECT_TRUE(varnock::test::readFile(path) == callsPage()) << "./dev docs prints it anew";
}

}  // namespace
}  // namespace varnockctl
