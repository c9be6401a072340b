#include "catalogue/Shape.h"

#include <gtest/gtest.h>

#include "catalogue/Table.h"

namespace varnock::test {
namespace {

using catalogue::Shape;
using Kind = catalogue::ModelValue::Kind;

const Shape& machine() {
    static const auto table = catalogue::Table::read(VARNOCK_SOURCE_DIR "/catalogue/calls.tsv");
    static const Shape shape = catalogue::machineShape(table.rows());
    return shape;
}

const Shape& cabinet() {
    return *machine().members.at("cabinets").element;
}

TEST(Shape, HasListsObjectsAndValues) {
    const Shape& fan = *cabinet().members.at("fans").element;
    EXPECT_EQ(fan.members.at("speed").value->kind, Kind::quantity);
    EXPECT_EQ(fan.members.at("speed").value->most, 65535);
    EXPECT_EQ(fan.members.at("speed").description, "Speed of a fan in revolutions per minute.");
    EXPECT_FALSE(cabinet().members.at("managementController").element);
    EXPECT_EQ(machine().members.at("system").members.at("name").value->kind, Kind::text);
    EXPECT_EQ(
        cabinet().members.at("statusTree").element->members.at("children").element->value->kind,
        Kind::text);
}

TEST(Shape, ListsThatAreSearchedHaveAKey) {
    EXPECT_EQ(cabinet().key, "number");
    EXPECT_EQ(cabinet().members.at("statusTree").element->key, "name");
    EXPECT_EQ(cabinet().members.at("statusTree").element->members.at("name").value->kind,
              Kind::text);
    EXPECT_EQ(cabinet().members.at("fans").element->key, "");
}

TEST(Shape, TheNarrowestFieldLimitsAValue) {
    // The cabinet's number is a word of one reply and selects cabinets in all others.
    EXPECT_EQ(cabinet().members.at("number").value->most, 65535);
}

TEST(Shape, FormsHaveTheirMembers) {
    const Shape& entries = cabinet().members.at("messageLog").members.at("entries");
    EXPECT_EQ(entries.element->members.at("time").value->kind, Kind::time);
    EXPECT_EQ(cabinet().members.at("systemLog").members.at("entries").element->key, "number");
    EXPECT_EQ(
        machine().members.at("system").members.at("alarmIdentity").members.at("text").value->kind,
        Kind::text);
}

TEST(Shape, EveryPartIsAnObjectAListOrAValue) {
    const auto check = [](const auto& self, const Shape& shape, const std::string& path) -> void {
        const int kinds =
            (shape.members.empty() ? 0 : 1) + (shape.element ? 1 : 0) + (shape.value ? 1 : 0);
        EXPECT_EQ(kinds, 1) << path;
        if (shape.element) {
            self(self, *shape.element, path + "[]");
        }
        for (const auto& [name, member] : shape.members) {
            self(self, member, path + "." + name);
        }
    };
    check(check, machine(), "");
}

}  // namespace
}  // namespace varnock::test
