#include "catalogue/ModelValue.h"

#include <gtest/gtest.h>

namespace varnock::test {
namespace {

using catalogue::expectation;
using catalogue::modelValue;
using Kind = catalogue::ModelValue::Kind;

catalogue::Row rowOf(std::string_view value, std::string_view unit = "-",
                     std::string_view coding = "-") {
    catalogue::Row row{};
    row.returnType = "cimple::uint8";
    row.value = value;
    row.unit = unit;
    row.coding = coding;
    return row;
}

TEST(ModelValue, TheReplyLimitsNumbers) {
    EXPECT_EQ(modelValue(rowOf("count"), "byte").most, 255);
    EXPECT_EQ(modelValue(rowOf("count"), "byte at 1").most, 255);
    EXPECT_EQ(modelValue(rowOf("count"), "each word").most, 65535);
    EXPECT_EQ(modelValue(rowOf("count"), "dword").most, 4294967295.0);
    EXPECT_EQ(modelValue(rowOf("count"), "dword").least, 0);
    catalogue::Row zone = rowOf("quantity", "hours");
    zone.returnType = "cimple::Property<cimple::sint32>";
    EXPECT_LT(modelValue(zone, "byte").least, -12);
}

TEST(ModelValue, ValueAndCodingGiveTheNotation) {
    EXPECT_EQ(modelValue(rowOf("text"), "string").kind, Kind::text);
    EXPECT_EQ(modelValue(rowOf("text"), "MAC").kind, Kind::mac);
    EXPECT_EQ(modelValue(rowOf("date"), "string").kind, Kind::date);
    EXPECT_EQ(modelValue(rowOf("address"), "address").kind, Kind::address);
    EXPECT_EQ(modelValue(rowOf("time", "seconds since the epoch"), "dword").kind, Kind::time);
    EXPECT_EQ(modelValue(rowOf("flag"), "byte").kind, Kind::flag);
    EXPECT_EQ(modelValue(rowOf("coded", "-", "yes or no"), "byte").kind, Kind::flag);
    EXPECT_EQ(modelValue(rowOf("quantity", "watts"), "dword").kind, Kind::quantity);
    EXPECT_EQ(modelValue(rowOf("quantity", "agent's unit"), "word").kind, Kind::number);
    EXPECT_EQ(modelValue(rowOf("coded"), "byte").vocabulary, nullptr);
    EXPECT_EQ(modelValue(rowOf("coded", "-", "health"), "byte").vocabulary,
              catalogue::findVocabulary("health"));
}

TEST(ModelValue, SaysWhatToWrite) {
    EXPECT_EQ(expectation(modelValue(rowOf("quantity", "revolutions per minute"), "word")),
              "a quantity such as \"5400 rpm\", a whole number from 0 to 65535 revolutions per "
              "minute");
    EXPECT_EQ(expectation(modelValue(rowOf("coded", "-", "severity"), "byte")),
              "one of \"information\", \"warning\", \"error\", or a whole number from 0 to 255");
    EXPECT_EQ(expectation(modelValue(rowOf("coded"), "byte")), "a whole number from 0 to 255");
    EXPECT_EQ(expectation(modelValue(rowOf("flag"), "byte")), "true or false");
    EXPECT_EQ(expectation({.kind = Kind::header}),
              "the 128 hexadecimal digits of a PCI configuration header");
    EXPECT_EQ(expectation(modelValue(rowOf("text"), "string")), "a text");
    EXPECT_EQ(expectation(modelValue(rowOf("text"), "MAC")),
              "a MAC address such as \"02:00:5e:00:53:01\"");
    EXPECT_EQ(expectation(modelValue(rowOf("date"), "string")), "a date such as \"2026-11-21\"");
    EXPECT_EQ(expectation(modelValue(rowOf("time", "seconds since the epoch"), "dword")),
              "a time such as \"2026-11-21T08:00:00Z\", or \"now\"");
    EXPECT_EQ(expectation(modelValue(rowOf("address"), "address")),
              "an IP address such as \"192.0.2.1\"");
}

}  // namespace
}  // namespace varnock::test
