#include "catalogue/Bindings.h"

#include <gtest/gtest.h>

#include "catalogue/Table.h"

namespace varnock::test {
namespace {

using catalogue::Binding;

const std::vector<Binding>& all() {
    static const auto table = catalogue::Table::read(VARNOCK_SOURCE_DIR "/catalogue/calls.tsv");
    static const auto bindings = catalogue::bindings(table.rows());
    return bindings;
}

std::vector<Binding> of(std::string_view name) {
    std::vector<Binding> found;
    for (const Binding& each : all()) {
        if (each.row->name == name) {
            found.push_back(each);
        }
    }
    return found;
}

TEST(Bindings, ACommandHasItsNumbers) {
    const auto fan = of("getFanStatus");
    ASSERT_EQ(fan.size(), 1U);
    EXPECT_EQ(fan[0].opcode, 0x0301U);
    EXPECT_EQ(fan[0].ext, 0U);
    EXPECT_EQ(fan[0].object, std::nullopt);
    EXPECT_EQ(fan[0].path, "cabinets[number=cabinet].fans[object].status");
    EXPECT_EQ(of("getCPUCacheSize")[0].ext, std::nullopt);
    EXPECT_EQ(of("getFrontDoorStatus")[0].object, 1U);
}

TEST(Bindings, ASequenceHasOneForEachCommand) {
    const auto cabinets = of("getCabNrs");
    ASSERT_EQ(cabinets.size(), 2U);
    EXPECT_EQ(cabinets[0].reply, "word");
    EXPECT_EQ(cabinets[1].opcode, 0x0220U);
    EXPECT_EQ(cabinets[1].reply, "each word");
    EXPECT_EQ(cabinets[1].path, "cabinets[1..].number");
    EXPECT_EQ(of("getIdentityInfo").size(), 4U);
    EXPECT_EQ(of("doClearLog")[1].object, 1U);
}

TEST(Bindings, TwoExtensionsHaveTwoPlaces) {
    const auto watchdogs = of("getConfWatchdogTime");
    ASSERT_EQ(watchdogs.size(), 2U);
    EXPECT_EQ(watchdogs[0].ext, 0x0043U);
    EXPECT_EQ(watchdogs[1].path, "cabinets[number=cabinet].watchdogs[1].time");
}

TEST(Bindings, ElementsOfOtherListsAreBoundToThem) {
    const auto texts = of("getElementManufacturer");
    ASSERT_GT(texts.size(), 1U);
    EXPECT_TRUE(texts[0].ofElement);
    EXPECT_EQ(texts[0].path,
              "cabinets[number=cabinet].elements[class=class].objects[object].manufacturer");
    bool found = false;
    for (const Binding& each : texts) {
        found = found || (each.ext == 0x0A0AU &&
                          each.path == "cabinets[number=cabinet].processors[object].manufacturer");
        EXPECT_NE(each.ext, 0x130AU) << "the fans have a call of their own";
    }
    EXPECT_TRUE(found);
}

TEST(Bindings, AClassWithoutAListHasObjectZero) {
    for (const Binding& each : of("getElementSerialNumber")) {
        const bool isOfChassis = each.ext == 0x0100U;
        EXPECT_EQ(each.object == 0U, isOfChassis) << each.path;
    }
}

TEST(Bindings, EveryCallWithACommandIsBound) {
    for (const Binding& each : all()) {
        EXPECT_FALSE(each.path.empty()) << each.row->name;
    }
    EXPECT_TRUE(of("passThroughRequest").empty());
}

}  // namespace
}  // namespace varnock::test
