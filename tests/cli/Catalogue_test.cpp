#include "cli/Catalogue.h"

#include <gtest/gtest.h>

#include <set>

#include "cli/CallTable.h"

namespace varnockctl {
namespace {

TEST(Catalogue, HoldsEveryCallInTheOrderOfTheInterface) {
    ASSERT_EQ(catalogue().size(), 316U);
    EXPECT_EQ(catalogue().front().operation, "doClearLog");
    EXPECT_EQ(catalogue().back().operation, "setConfTempCriticalBehavior");
    EXPECT_EQ(catalogue().back().index, 315);
    EXPECT_EQ(catalogue().back().failure, "throws");
}

TEST(Catalogue, NamesAreUniqueAndFindTheirRow) {
    std::set<std::string> names;
    for (const CatalogueRow& row : catalogue()) {
        const std::string name = callName(row);
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_EQ(findCall(name), &row) << name;
    }
    EXPECT_EQ(findCall("getNoSuchThing"), nullptr);
}

TEST(Catalogue, TellsTheTwoOperationsOfOneNameByTheirNumber) {
    EXPECT_EQ(findCall("getUmDiffComponentSubType")->opcode, "0x3303");
    EXPECT_EQ(findCall("getUmDiffComponentSubType@0x3306")->opcode, "0x3306");
}

TEST(Catalogue, KnowsWhichCallsChangeState) {
    EXPECT_TRUE(changesState(*findCall("doClearLog")));
    EXPECT_TRUE(changesState(*findCall("setConfServerAssetTag")));
    EXPECT_TRUE(changesState(*findCall("passThroughRequest")));
    EXPECT_FALSE(changesState(*findCall("getFanStatus")));
    EXPECT_TRUE(changesState(0xE002U));
    EXPECT_TRUE(changesState(0x0B03U));
    EXPECT_FALSE(changesState(0xE001U));
}

}  // namespace
}  // namespace varnockctl
