#include "cli/CallTable.h"

#include <gtest/gtest.h>

#include "cli/Catalogue.h"
#include "cli/Failure.h"

namespace varnockctl {
namespace {

bool mentions(std::string_view text, std::string_view word) {
    return text.find(word) != std::string_view::npos;
}

ExitStatus failureOf(const char* name, const CallArguments& arguments) {
    try {
        checkArguments(*findTypedCall(name), arguments);
        return ExitStatus::done;
    } catch (const Failure& failure) {
        return failure.status();
    }
}

CallArguments key() {
    return {.cabinet = "0", .object = "1", .ext = "2", .value = {}, .node = {}};
}

TEST(CallTable, StandsInTheOrderOfTheCatalogue) {
    ASSERT_EQ(callTable().size(), catalogue().size());
    for (size_t i = 0; i < callTable().size(); ++i) {
        EXPECT_EQ(callTable()[i].name, callName(catalogue()[i]));
    }
}

TEST(CallTable, NeedsWhatTheCommandIsMadeOf) {
    for (const Call& call : callTable()) {
        const CatalogueRow& row = *findCall(call.name);
        const std::string fields =
            std::string(row.ext) + '|' + std::string(row.object) + '|' + std::string(row.cabinet);
        if (mentions(fields, "key cabinetNr")) {
            EXPECT_TRUE(call.needs & optionCabinet) << call.name;
        }
        if (mentions(fields, "key objectId")) {
            EXPECT_TRUE(call.needs & optionObject) << call.name;
        }
        if (mentions(fields, "key opCodeExt")) {
            EXPECT_TRUE(call.needs & optionExt) << call.name;
        }
        EXPECT_EQ(call.needs & ~call.takes, 0U) << call.name;
    }
}

TEST(CallTable, TakesWhatTheSignatureNames) {
    for (const Call& call : callTable()) {
        const CatalogueRow& row = *findCall(call.name);
        EXPECT_EQ((call.takes & optionExt) != 0, mentions(row.arguments, "KOLMKey")) << call.name;
        EXPECT_EQ((call.needs & optionValue) != 0,
                  mentions(row.arguments, "value") || mentions(row.arguments, "record"))
            << call.name;
        EXPECT_EQ((call.needs & optionNode) != 0, mentions(row.arguments, " name")) << call.name;
    }
}

TEST(CallTable, RefusesOptionsThatTheCallDoesNotTake) {
    EXPECT_EQ(failureOf("getNumberCPUs",
                        {.cabinet = "0", .object = "1", .ext = {}, .value = {}, .node = {}}),
              ExitStatus::usage);
    CallArguments withValue = key();
    withValue.value = "1";
    EXPECT_EQ(failureOf("getFanStatus", withValue), ExitStatus::usage);
}

TEST(CallTable, RefusesACallThatLacksWhatItNeeds) {
    EXPECT_EQ(failureOf("getNumberCPUs", {}), ExitStatus::usage);
    EXPECT_EQ(failureOf("setConfServerAssetTag", {}), ExitStatus::usage);
    EXPECT_EQ(failureOf("getStatusTreeNodeIsCSS", key()), ExitStatus::usage);
}

TEST(CallTable, RefusesWhatIsNoNumberBeforeAnythingIsSent) {
    CallArguments arguments = key();
    arguments.object = "many";
    EXPECT_EQ(failureOf("getFanStatus", arguments), ExitStatus::usage);
    for (const char* value : {"256", "-1", "x", ""}) {
        EXPECT_EQ(failureOf("setConfNextBootSource",
                            {.cabinet = {}, .object = {}, .ext = {}, .value = value, .node = {}}),
                  ExitStatus::usage)
            << value;
    }
}

TEST(CallTable, AcceptsTheWholeKeyWhereAKeyIsTaken) {
    EXPECT_EQ(failureOf("getBootTime", key()), ExitStatus::done);
    EXPECT_EQ(failureOf("getFanInstanceID", {}), ExitStatus::done);
}

TEST(CallTable, AcceptsAnEmptyTextAsAValue) {
    EXPECT_EQ(failureOf("setConfServerAssetTag",
                        {.cabinet = {}, .object = {}, .ext = {}, .value = "", .node = {}}),
              ExitStatus::done);
}

}  // namespace
}  // namespace varnockctl
