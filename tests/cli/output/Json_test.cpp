#include "cli/output/Json.h"

#include <gtest/gtest.h>

namespace varnockctl {
namespace {

TEST(Json, LeavesValidUtf8AsItIs) {
    EXPECT_EQ(escapeInvalidUtf8("Gerät Ω 😀"), "Gerät Ω 😀");
    EXPECT_EQ(escapeInvalidUtf8(std::string_view("a\0b", 3)), std::string_view("a\0b", 3));
    EXPECT_EQ(escapeInvalidUtf8(""), "");
}

TEST(Json, EscapesEachInvalidByte) {
    EXPECT_EQ(escapeInvalidUtf8("a\xFFz"), "a\\xFFz");
    EXPECT_EQ(escapeInvalidUtf8("\xC3"), "\\xC3");                    // cut short
    EXPECT_EQ(escapeInvalidUtf8("\xC0\x80"), "\\xC0\\x80");           // overlong
    EXPECT_EQ(escapeInvalidUtf8("\xED\xA0\x80"), "\\xED\\xA0\\x80");  // surrogate
    EXPECT_EQ(escapeInvalidUtf8("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");
    EXPECT_EQ(escapeInvalidUtf8("\xE2\x82x"), "\\xE2\\x82x");
}

TEST(Json, EscapesEveryControlCharacter) {
    JsonDocument document;
    const std::string text = "\x1b\x7f\xC2\x80\xC2\x9F\xC2\xA0\xC3\x80";
    document.SetString(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    EXPECT_EQ(toString(document, false), "\"\\u001B\\u007F\\u0080\\u009F\xC2\xA0\xC3\x80\"");
}

TEST(Json, WritesValidDocumentsFromAnyBytes) {
    JsonDocument document(rapidjson::kObjectType);
    add(document, "text", "quote \" and \xFE", document.GetAllocator());
    EXPECT_EQ(toString(document, false), R"({"text":"quote \" and \\xFE"})");
    JsonDocument again;
    again.Parse(toString(document, true).c_str());
    EXPECT_FALSE(again.HasParseError());
}

}  // namespace
}  // namespace varnockctl
