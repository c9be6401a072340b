#include "agent/model/JsonText.h"

#include <gtest/gtest.h>

namespace varnock::agent::test {
namespace {

TEST(JsonText, KnowsThePlacesOfValuesAndNames) {
    JsonText text(
        "{\"a\": [1, \"x\\\"y\\\\\",\n  true, null, -2.5e1],\n \"\u00FCb\": {\"c\": false}}",
        "f.json");
    Document document;
    std::string fault;
    ASSERT_TRUE(text.read(document, fault)) << fault;
    const Node& list = document["a"];
    EXPECT_EQ(text.placeOf(document), "f.json:1:1: ");
    EXPECT_EQ(text.placeOf(list), "f.json:1:7: ");
    EXPECT_EQ(text.placeOf(list[0]), "f.json:1:8: ");
    EXPECT_EQ(text.placeOf(list[1]), "f.json:1:11: ");
    EXPECT_EQ(text.placeOf(list[2]), "f.json:2:3: ");
    EXPECT_EQ(text.placeOf(list[3]), "f.json:2:9: ");
    EXPECT_EQ(text.placeOf(list[4]), "f.json:2:15: ");
    EXPECT_EQ(text.placeOf((document.MemberBegin() + 1)->name), "f.json:3:2: ");
    EXPECT_EQ(text.placeOf((document.MemberBegin() + 1)->value["c"]), "f.json:3:14: ");
}

std::string faultOf(const std::string& content) {
    JsonText text(content, "f");
    Document document;
    std::string fault;
    EXPECT_FALSE(text.read(document, fault)) << content;
    return fault;
}

TEST(JsonText, SaysWhereATextIsNoJson) {
    EXPECT_EQ(faultOf("{\"a\":\n 1,}"), "f:2:4: Missing a name for object member.");
    EXPECT_EQ(faultOf("").substr(0, 7), "f:1:1: ");
    EXPECT_EQ(faultOf("\"\xFF\"").substr(0, 4), "f:1:");
    EXPECT_EQ(faultOf("{} {}").substr(0, 4), "f:1:");
}

TEST(JsonText, ReadsAZeroWithAnyExponent) {
    JsonText text("[0e308, 0.0000000000000000000000000000000, 0.30000000000000004]", "f");
    Document document;
    std::string fault;
    ASSERT_TRUE(text.read(document, fault)) << fault;
    EXPECT_EQ(document[0].GetDouble(), 0);
    EXPECT_EQ(document[1].GetDouble(), 0);
}

TEST(JsonText, LimitsTheDepth) {
    EXPECT_NE(faultOf(std::string(1'000'000, '[')).find("more than 32 levels"), std::string::npos);
    EXPECT_NE(faultOf(std::string(33, '[') + std::string(33, ']')).find("levels"),
              std::string::npos);
    JsonText text(std::string(32, '[') + std::string(32, ']'), "f");
    Document document;
    std::string fault;
    EXPECT_TRUE(text.read(document, fault)) << fault;
}

TEST(JsonText, KeepsEveryDigitOfANumber) {
    JsonText text("[0.1, 3.6359820480367715e-16]", "f");
    Document document;
    std::string fault;
    ASSERT_TRUE(text.read(document, fault)) << fault;
    EXPECT_EQ(document[0].GetDouble(), 0.1);
    EXPECT_EQ(document[1].GetDouble(), 3.6359820480367715e-16);
}

std::string brackets(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

TEST(WrittenValue, IsJsonOrTheTextItself) {
    JsonHeap heap;
    EXPECT_EQ(textOf(writtenValue("\"ok\"", heap)), "ok");
    EXPECT_EQ(textOf(writtenValue("ok", heap)), "ok");
    EXPECT_EQ(textOf(writtenValue("", heap)), "");
    EXPECT_EQ(textOf(writtenValue("\"\xFF\"", heap)), "\"\xFF\"");
    EXPECT_EQ(writtenValue("2", heap).GetInt(), 2);
    EXPECT_TRUE(writtenValue("null", heap).IsNull());
    EXPECT_TRUE(writtenValue("{\"points\": []}", heap).IsObject());
}

TEST(WrittenValue, IsTheTextOfJsonInTooManyLevels) {
    JsonHeap heap;
    EXPECT_TRUE(writtenValue(brackets(JsonText::kDepth), heap).IsArray());
    for (const std::size_t levels : {std::size_t{JsonText::kDepth + 1}, std::size_t{1'000'000}}) {
        EXPECT_EQ(textOf(writtenValue(brackets(levels), heap)), brackets(levels));
    }
}

}  // namespace
}  // namespace varnock::agent::test
