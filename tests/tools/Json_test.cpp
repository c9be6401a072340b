#include "tools/Json.h"

#include <gtest/gtest.h>

namespace varnock {
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

TEST(Json, FindsAByteToEscapeAtEveryPlace) {
    for (std::size_t length = 0; length < 20; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            JsonDocument document;
            std::string bytes(length, 'x');
            bytes[at] = '\x80';
            const std::string expected = bytes.substr(0, at) + "\\x80" + bytes.substr(at + 1);
            document.CopyFrom(text(bytes, document.GetAllocator()), document.GetAllocator());
            EXPECT_EQ(document.GetString(), expected);
            const std::string control = bytes.substr(0, at) + "\xC2\x85";
            document.SetString(control.c_str(), document.GetAllocator());
            EXPECT_EQ(toString(document, false), '"' + bytes.substr(0, at) + "\\u0085\"");
        }
    }
}

TEST(Json, EscapesEveryControlCharacter) {
    JsonDocument document;
    const std::string text = "\x1b\x7f\xC2\x80\xC2\x9F\xC2\xA0\xC3\x80";
    document.SetString(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    EXPECT_EQ(toString(document, false), "\"\\u001B\\u007F\\u0080\\u009F\xC2\xA0\xC3\x80\"");
}

std::string nested(std::size_t levels, const std::string& inside) {
    return std::string(levels, '[') + inside + std::string(levels, ']');
}

TEST(Json, ParsesWhatItCanWrite) {
    JsonDocument document;
    ASSERT_TRUE(parse(document, nested(64, R"("[[{{\"[{" )")));
    EXPECT_EQ(toString(document, false), nested(64, R"("[[{{\"[{")"));
    ASSERT_TRUE(parse(document, "[[],[],{\"a\":{}},0.1]"));
    EXPECT_EQ(toString(document, false), "[[],[],{\"a\":{}},0.1]");
}

TEST(Json, ParsesNumbersExactly) {
    JsonDocument document;
    for (const char* zero : {"0e308", "-0E-300", "0.0e+23", "0.0000000000000000000000000000000"}) {
        EXPECT_TRUE(hasScaledZero(zero)) << zero;
        ASSERT_TRUE(parse(document, zero)) << zero;
        EXPECT_EQ(document.GetDouble(), 0) << zero;
    }
    for (const char* number :
         {"0", "-0.0", "10.5e30", "0.30000000000000004", "100000000000000000"}) {
        EXPECT_FALSE(hasScaledZero(number)) << number;
        ASSERT_TRUE(parse(document, number)) << number;
    }
    ASSERT_TRUE(parse(document, "0.30000000000000004"));
    EXPECT_EQ(document.GetDouble(), 0.30000000000000004);
    EXPECT_TRUE(hasScaledZero("[\"a\",1,0e5]"));
    EXPECT_FALSE(hasScaledZero(""));
}

TEST(Json, ParsesNothingElse) {
    JsonDocument document;
    for (const std::string& bad :
         {nested(65, ""), std::string(64, '{') + "[", nested(1'000'000, ""),
          std::string(1'000'000, '['), std::string("]]"), std::string("\"[\\"),
          std::string("\"\xFF\""), std::string()}) {
        EXPECT_FALSE(parse(document, bad)) << bad.substr(0, 70);
    }
}

TEST(Json, FindsTheMemberOfAnObject) {
    JsonDocument document;
    ASSERT_TRUE(parse(document, R"({"a": null, "b": [5]})"));
    EXPECT_TRUE(findMember(document, "a")->IsNull());
    EXPECT_EQ(findMember(document, "c"), nullptr);
    Json* const list = findMember(document, "b");
    EXPECT_EQ(findMember(*list, "b"), nullptr);
    list->Clear();
    EXPECT_EQ(toString(document, false), R"({"a":null,"b":[]})");
}

TEST(Json, WritesValidDocumentsFromAnyBytes) {
    JsonDocument document(rapidjson::kObjectType);
    add(document, "text", "quote \" and \xFE", document.GetAllocator());
    EXPECT_EQ(toString(document, false), R"({"text":"quote \" and \\xFE"})");
    JsonDocument again;
    again.Parse(toString(document, true).c_str());
    EXPECT_FALSE(again.HasParseError());
}

TEST(Json, IsReadFromItsText) {
    JsonDocument document;
    auto& memory = document.GetAllocator();
    EXPECT_EQ(fromString("3.6359820480367715e-16", memory).GetDouble(), 3.6359820480367715e-16);
    EXPECT_EQ(toString(fromString(R"({"a": [1, null, "x"]})", memory), false),
              R"({"a":[1,null,"x"]})");
    EXPECT_TRUE(fromString("[1", memory).IsNull());
    EXPECT_STREQ(fromString("\"\xFF\"", memory).GetString(), "\\xFF");
    EXPECT_TRUE(fromString(nested(64, ""), memory).IsArray());
    EXPECT_TRUE(fromString(nested(65, ""), memory).IsNull());
}

}  // namespace
}  // namespace varnock
