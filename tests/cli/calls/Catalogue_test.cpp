#include "cli/calls/Catalogue.h"

#include <gtest/gtest.h>

#include "catalogue/Cells.h"
#include "catalogue/Table.h"

namespace varnockctl {
namespace {

TEST(Catalogue, HoldsEveryRowOfTheTable) {
    const auto table = varnock::catalogue::Table::read(VARNOCK_SOURCE_DIR "/catalogue/calls.tsv");
    ASSERT_EQ(catalogue().size(), table.rows().size());
    for (const CatalogueRow& row : table.rows()) {
        const CatalogueRow& built = catalogue()[static_cast<size_t>(row.index)];
        EXPECT_EQ(built.index, row.index);
        for (const auto& column : varnock::catalogue::columns()) {
            if (column.cell != nullptr) {
                EXPECT_EQ(built.*column.cell, row.*column.cell) << row.name << ": " << column.name;
            }
        }
    }
}

TEST(Catalogue, FindsARowByItsName) {
    for (const CatalogueRow& row : catalogue()) {
        EXPECT_EQ(findCall(row.name), &row) << row.name;
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
    for (const unsigned int opcode : {0x0205U, 0x0206U, 0x0209U, 0x0B03U, 0xE002U}) {
        EXPECT_TRUE(changesState(opcode)) << opcode;
    }
    EXPECT_FALSE(changesState(0xE001U));
    EXPECT_FALSE(changesState(0xFFFFFFFFU));
}

}  // namespace
}  // namespace varnockctl
