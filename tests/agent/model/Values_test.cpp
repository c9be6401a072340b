#include "agent/model/Values.h"

#include <gtest/gtest.h>

#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

using catalogue::ModelValue;
using Kind = ModelValue::Kind;

const ModelValue kTemperature{
    .kind = Kind::quantity, .unit = catalogue::findUnit("degrees Celsius"), .most = 255};
const ModelValue kHealth{
    .kind = Kind::code, .vocabulary = catalogue::findVocabulary("health"), .most = 255};

std::optional<unsigned> number(const std::string& text, const ModelValue& notation,
                               const Moment& moment = {}) {
    return numberIn(dataOf(json(text), notation, moment));
}

TEST(Values, QuantitiesAreRoundedToTheirUnit) {
    EXPECT_EQ(number("\"41.4 \u00B0C\"", kTemperature), 41U);
    EXPECT_EQ(number("\"41.5 \u00B0C\"", kTemperature), 42U);
    EXPECT_EQ(number("\"255.6 \u00B0C\"", kTemperature), std::nullopt);
    EXPECT_EQ(number("\"-1 \u00B0C\"", kTemperature), std::nullopt);
    EXPECT_EQ(number("41", kTemperature), std::nullopt);
}

TEST(Values, NegativeNumbersKeepTheirBits) {
    const ModelValue hours{
        .kind = Kind::quantity, .unit = catalogue::findUnit("hours"), .least = -0x80000000LL};
    EXPECT_EQ(number("\"-5 h\"", hours), 0xFFFFFFFBU);
}

TEST(Values, CodesHaveNamesOrNumbers) {
    EXPECT_EQ(number("\"failed\"", kHealth), 3U);
    EXPECT_EQ(number("9", kHealth), 9U);
    EXPECT_EQ(number("\"broken\"", kHealth), std::nullopt);
    EXPECT_EQ(number("256", kHealth), std::nullopt);
    EXPECT_EQ(number("1.5", kHealth), std::nullopt);
    EXPECT_EQ(number("\"ok\"", {.kind = Kind::code, .most = 255}), std::nullopt);
}

TEST(Values, FlagsAreTrueOrFalse) {
    EXPECT_EQ(number("true", {.kind = Kind::flag}), 1U);
    EXPECT_EQ(number("false", {.kind = Kind::flag}), 0U);
    EXPECT_EQ(number("1", {.kind = Kind::flag}), std::nullopt);
}

TEST(Values, TimesMayBeNow) {
    EXPECT_EQ(number("\"now\"", {.kind = Kind::time}, {.epoch = 77, .sinceStart = 0}), 77U);
    EXPECT_EQ(number("\"1970-01-01T00:01:00Z\"", {.kind = Kind::time}), 60U);
    EXPECT_EQ(number("\"1969-12-31T00:00:00Z\"", {.kind = Kind::time}), std::nullopt);
}

TEST(Values, TextsAndAddressesKeepTheirForm) {
    EXPECT_EQ(std::get<std::string>(*dataOf(json("\"a b\""), {.kind = Kind::text}, {})), "a b");
    EXPECT_EQ(dataOf(json("\"a\\u0000b\""), {.kind = Kind::text}, {}), std::nullopt);
    EXPECT_EQ(std::get<Answer::Bytes>(*dataOf(json("\"10.0.0.1\""), {.kind = Kind::address}, {})),
              (Answer::Bytes{10, 0, 0, 1}));
    EXPECT_EQ(
        std::get<Answer::Bytes>(*dataOf(json("\"00:00:00:00:00:01\""), {.kind = Kind::mac}, {})),
        (Answer::Bytes{0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(std::get<Answer::Bytes>(
                  *dataOf(json('"' + std::string(128, 'f') + '"'), {.kind = Kind::header}, {})),
              Answer::Bytes(64, 0xFF));
    EXPECT_EQ(dataOf(json("\"2026-02-30\""), {.kind = Kind::date}, {}), std::nullopt);
}

TEST(Values, ACurveGivesTheValueOfTheMoment) {
    const std::string curve =
        "{\"points\": [[\"10 s\", \"20 \u00B0C\"], [\"20 s\", \"40 \u00B0C\"]]}";
    const auto at = [&](double time) { return number(curve, kTemperature, {0, time}); };
    EXPECT_EQ(at(0), 20U);
    EXPECT_EQ(at(10), 20U);
    EXPECT_EQ(at(15), 30U);
    EXPECT_EQ(at(20), 40U);
    EXPECT_EQ(at(1000), 40U);
}

TEST(Values, ACurveMayRepeat) {
    const std::string curve =
        "{\"points\": [[\"0 s\", \"20 \u00B0C\"], [\"10 s\", \"40 \u00B0C\"]], \"repeat\": true}";
    EXPECT_EQ(number(curve, kTemperature, {0, 12.5}), 25U);
    EXPECT_EQ(number(curve, kTemperature, {0, 1e9 + 5}), 30U);
}

TEST(Values, CodesChangeAtThePoints) {
    const std::string curve = "{\"points\": [[\"0 s\", \"ok\"], [\"10 s\", \"failed\"]]}";
    EXPECT_EQ(number(curve, kHealth, {0, 9.9}), 1U);
    EXPECT_EQ(number(curve, kHealth, {0, 10}), 3U);
}

TEST(Values, ACurveIsShownInItsNotation) {
    JsonHeap heap;
    const auto shown = [&](const std::string& value, const ModelValue& notation, double time) {
        return valueAt(json(value), notation, {0, time}, heap);
    };
    const std::string addresses = R"({"points": [["0 s", "10.0.0.1"], ["5 s", "10.0.0.2"]]})";
    EXPECT_EQ(textOf(shown(addresses, {.kind = Kind::address}, 6)), "10.0.0.2");
    EXPECT_EQ(textOf(shown("\"10.0.0.3\"", {.kind = Kind::address}, 6)), "10.0.0.3");
    const ModelValue zone{
        .kind = Kind::quantity, .unit = catalogue::findUnit("hours"), .least = -24, .most = 24};
    EXPECT_EQ(textOf(shown(R"({"points": [["0 s", "-4 h"], ["4 s", "-8 h"]]})", zone, 2)), "-6 h");
    EXPECT_TRUE(shown(R"({"points": [["0 s", 1]]})", zone, 2).IsObject());
}

TEST(Values, OnlyACurveThatGoesOnChanges) {
    EXPECT_FALSE(changesAfter(json("5"), 0));
    EXPECT_FALSE(changesAfter(json("{}"), 0));
    const std::string points = R"({"points": [["0 s", 1], ["5 s", 2]])";
    EXPECT_TRUE(changesAfter(json(points + "}"), 4));
    EXPECT_FALSE(changesAfter(json(points + "}"), 5));
    EXPECT_TRUE(changesAfter(json(points + ", \"repeat\": true}"), 5));
}

TEST(Values, RefusesBadCurves) {
    for (const char* curve :
         {"{}", "{\"points\": []}", "{\"points\": 5}", "{\"points\": [[\"0 s\"]]}",
          "{\"points\": [[0, \"ok\"]]}", "{\"points\": [[\"0 s\", \"no\"]]}",
          "{\"points\": [[\"5 s\", \"ok\"], [\"5 s\", \"ok\"]]}",
          "{\"points\": [[\"0 s\", \"ok\"]], \"repeat\": 1}",
          "{\"points\": [[\"0 s\", \"ok\"]], \"more\": 1}"}) {
        EXPECT_FALSE(isValid(json(curve), kHealth)) << curve;
    }
}

TEST(Values, AreWrittenInTheirNotation) {
    JsonHeap heap;
    EXPECT_EQ(textOf(valueOf(41U, kTemperature, heap)), "41 \u00B0C");
    EXPECT_EQ(textOf(valueOf(3U, kHealth, heap)), "failed");
    EXPECT_EQ(valueOf(9U, kHealth, heap).GetUint(), 9U);
    EXPECT_TRUE(valueOf(1U, {.kind = Kind::flag}, heap).GetBool());
    EXPECT_EQ(textOf(valueOf(std::string("text"), {.kind = Kind::text}, heap)), "text");
    EXPECT_EQ(textOf(valueOf(60U, {.kind = Kind::time}, heap)), "1970-01-01T00:01:00Z");
    EXPECT_EQ(textOf(valueOf(Answer::Bytes{10, 0, 0, 1}, {.kind = Kind::address}, heap)),
              "10.0.0.1");
    EXPECT_EQ(textOf(valueOf(Answer::Bytes{2, 0, 0x5E, 0, 0x53, 1}, {.kind = Kind::mac}, heap)),
              "02:00:5e:00:53:01");
    EXPECT_EQ(textOf(valueOf(Answer::Bytes(64, 0xAB), {.kind = Kind::header}, heap)).substr(0, 6),
              "ababab");
}

}  // namespace
}  // namespace varnock::agent::test
