#include "agent/described/CommandTable.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "agent/model/CallRows.h"

namespace varnock::agent::test {
namespace {

TEST(CommandTable, HasARouteForEveryCommandOfTheCatalogue) {
    const CommandTable table;
    std::size_t routed = 0;
    const auto all = catalogue::bindings(callRows());
    for (const catalogue::Binding& each : all) {
        const unsigned ext = each.ofElement ? 0x7F00 | *each.ext : each.ext.value_or(12345);
        const auto* routes = table.find(each.opcode, ext);
        ASSERT_NE(routes, nullptr) << each.row->name;
        EXPECT_TRUE(std::any_of(routes->begin(), routes->end(), [&](const Route& route) {
            return route.object == each.object;
        })) << each.row->name;
        ++routed;
    }
    EXPECT_GT(routed, callRows().size() / 2);
}

TEST(CommandTable, KnowsNoOtherCommands) {
    const CommandTable table;
    EXPECT_EQ(table.find(0x4711, 0), nullptr);
    EXPECT_EQ(table.find(0xE001, 0x7FFF), nullptr);
    EXPECT_EQ(table.find(0x0301, 1), nullptr);
}

TEST(CommandTable, CallsThatReadOneReplyShareARoute) {
    const CommandTable table;
    const auto* speed = table.find(0x0603, 0);
    ASSERT_EQ(speed->size(), 1U);
    EXPECT_EQ(speed->front().pieces.size(), 2U);
    EXPECT_EQ(table.find(0x2334, 0)->front().pieces.size(), 2U);
    // Model and name are one text.
    EXPECT_EQ(table.find(0x0C00, 0x0108)->front().pieces.size(), 1U);
}

TEST(CommandTable, ObjectsMayHaveRoutesOfTheirOwn) {
    const CommandTable table;
    EXPECT_EQ(table.find(0x1010, 0)->size(), 2U);
}

}  // namespace
}  // namespace varnock::agent::test
