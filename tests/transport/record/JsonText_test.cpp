#include "transport/record/JsonText.h"

#include <gtest/gtest.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <limits>
#include <new>
#include <string>
#include <utility>

#include "tests/support/EveryAllocation.h"
#include "tests/support/Sanitizers.h"

namespace {

using varnock::JsonDocument;
using varnock::test::FailingCallNumber;
using varnock::test::FailingMalloc;
using varnock::test::forEveryAllocation;

bool parseCopy(std::string text, JsonDocument& document) {
    return varnock::parseJson(text.data(), document);
}

std::string writtenText(const varnock::JsonValue& value) {
    varnock::TextSink sink(nullptr, 0);
    varnock::writeJson(value, sink);
    return std::string(sink.text());
}

/// The text after parsing and writing by RapidJSON itself; "error" if it refuses the text.
std::string peer(const std::string& text) {
    JsonDocument document;
    document.Parse(text.c_str());
    return document.HasParseError() ? "error" : writtenText(document);
}

std::string ours(const std::string& text) {
    JsonDocument document;
    return parseCopy(text, document) ? writtenText(document) : "error";
}

TEST(JsonText, WritesCompactText) {
    for (const char* text :
         {"0", "-1", "255", "256", "4294967295", "18446744073709551615", "-9223372036854775808",
          "1.5", "0.0", "true", "false", "null", R"("")", R"("a\"\\\n\u0000\u001Fz")", "[]", "{}",
          "[0,9,10,99,100,255,256,-1,1.5]", R"([[],[[]],{}])",
          R"({"a":1,"b":[1,{"c":null}],"":""})"})
        EXPECT_EQ(ours(text), text);
}

TEST(JsonText, WritesTextsAsTheWriterDoes) {
    for (unsigned int byte = 0; byte < 256; ++byte) {
        const std::string text{'a', static_cast<char>(byte), 'z'};
        JsonDocument document;
        document.SetString(text.data(), 3, document.GetAllocator());
        rapidjson::StringBuffer out;
        rapidjson::Writer<rapidjson::StringBuffer> writer(out);
        document.Accept(writer);
        EXPECT_EQ(writtenText(document), out.GetString()) << byte;
    }
}

TEST(JsonText, ParsesTextsAsTheParserDoes) {
    for (const char* text :
         {R"("")", R"("plain")", R"("a text that is too long to be kept inside of a value")",
          R"("\u0041\u00e4\u20ac\ud83d\ude00")", R"("\ud83d")", R"("\udc00")", R"("\u12")",
          R"("a\"b\\c\/d\be\ff\ng\rh\ti")", R"("\x")", R"("open)", R"("open\)", "\"tab\there\"",
          "\"\xFF\xC3\"", R"({"a\u0062":"c\u0064","a":{"long name of a member, beyond 21":1}})",
          R"(["one","two\n","three"])", R"({"a" : "b" , "c":"d"})"})
        EXPECT_EQ(ours(text), peer(text)) << text;
}

TEST(JsonText, KeepsAZeroInsideAText) {
    JsonDocument document;
    ASSERT_TRUE(parseCopy(R"("a\u0000b")", document));
    EXPECT_EQ(std::string(document.GetString(), document.GetStringLength()),
              std::string("a\0b", 3));
    EXPECT_EQ(writtenText(document), R"("a\u0000b")");
}

TEST(JsonText, EndsAtTheFirstZero) {
    EXPECT_EQ(ours(std::string("[1]\0]", 5)), "[1]");
    EXPECT_EQ(ours(std::string("[1\0]", 4)), "error");
    EXPECT_EQ(ours(std::string("\"a\0\"", 4)), "error");
}

TEST(JsonText, WritesEveryByteOfABlock) {
    JsonDocument block;
    block.SetArray();
    std::string expected = "[";
    for (unsigned int byte = 0; byte < 300; ++byte) {
        block.PushBack(byte, block.GetAllocator());
        expected += (byte == 0 ? "" : ",") + std::to_string(byte);
    }
    expected += "]";
    EXPECT_EQ(writtenText(block), expected);
    EXPECT_EQ(ours(expected), expected);
}

TEST(JsonText, WritesNullForWhatIsNoNumber) {
    JsonDocument list;
    list.SetArray();
    list.PushBack(std::numeric_limits<double>::infinity(), list.GetAllocator());
    list.PushBack(-std::numeric_limits<double>::infinity(), list.GetAllocator());
    list.PushBack(std::nan(""), list.GetAllocator());
    list.PushBack(1.0, list.GetAllocator());
    EXPECT_EQ(writtenText(list), "[null,null,null,1.0]");
}

TEST(JsonText, ParsesListsAsTheParserDoes) {
    for (const char* text : {"[1]",
                             "[1,2]",
                             "[1,2,]",
                             "[1,]",
                             "[,1]",
                             "[1,,2]",
                             "[1 ,2]",
                             "[1, 2]",
                             "[ 1,2]",
                             "[1,2 ]",
                             "[01,2]",
                             "[1,02]",
                             "[00,1]",
                             "[0,0,0]",
                             "[10,0]",
                             "[0123,4]",
                             "[999,1000,9999]",
                             "[1000,1]",
                             "[12345678901234567890,1]",
                             "[1.5,2]",
                             "[1,2.5]",
                             "[1,2.5,3]",
                             "[1e2,3]",
                             "[1,-2,3]",
                             "[1,+2]",
                             "[1,null,2]",
                             R"([1,"2",3])",
                             "[1,[2,3],4]",
                             "[[1,2],[3,4,5],6]",
                             "[1,2",
                             "[1,",
                             "[1",
                             "[",
                             "[1,2}",
                             "[1,2]]",
                             R"({"a":[1,2],"b":[3]})",
                             "[1,2,x]",
                             "[1,{\"a\":[2,3,[4,5]]},6,7]",
                             "[1:2]",
                             "[1,2:3]",
                             "[1\t,\n2]",
                             "[1,2],3"})
        EXPECT_EQ(ours(text), peer(text)) << text;
}

TEST(JsonText, ParsesSmallNumbersAsUnsigned) {
    JsonDocument document;
    ASSERT_TRUE(parseCopy("[1,22,333,4444,5]", document));
    ASSERT_EQ(document.Size(), 5u);
    for (const auto& element : document.GetArray()) {
        EXPECT_TRUE(element.IsUint());
    }
    EXPECT_EQ(document[1].GetUint(), 22u);
    EXPECT_EQ(document[2].GetUint(), 333u);
    EXPECT_EQ(document[3].GetUint(), 4444u);
}

TEST(JsonText, KeepsTheDocumentWhenTheTextIsRefused) {
    JsonDocument document;
    document.SetInt(7);
    EXPECT_FALSE(parseCopy("[1,2,{\"a\":[3,4,", document));
    EXPECT_TRUE(document.IsInt());
    EXPECT_TRUE(parseCopy("8", document));
    EXPECT_EQ(document.GetInt(), 8);
}

TEST(JsonText, KeepsTheDocumentWithoutMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    std::string list = "300";
    std::string members = R"("a":1)";
    for (int i = 0; i < 200; ++i) {
        list += ",300";
        members += ",\"a\":1";
    }
    for (const std::string& text :
         {"[" + list + "]", "{" + members + "}", "\"" + std::string(5000, 'x') + "\"",
          std::string(
              R"({"a name that needs memory":[{"b":"a text that needs memory"},[1,2],"c"]})")}) {
        const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
            JsonDocument document;
            document.SetInt(7);
            std::string copy = text;
            FailingMalloc failure(call.n, call.times);
            try {
                EXPECT_TRUE(parseCopy(std::move(copy), document));
            } catch (const std::bad_alloc&) {
            }
            failure.end();
            EXPECT_EQ(writtenText(document), failure.happened() ? "7" : text);
            document.SetNull();
            EXPECT_EQ(failure.blocksLeft(), 0u);
            return failure.happened();
        });
        EXPECT_GT(failures, 0u);
    }
}

TEST(JsonText, BoundsTheNesting) {
    JsonDocument document;
    const std::string deepest(varnock::kMaxJsonNesting, '[');
    EXPECT_TRUE(parseCopy(deepest + std::string(deepest.size(), ']'), document));
    EXPECT_FALSE(parseCopy("[" + deepest + std::string(deepest.size() + 1, ']'), document));
}

TEST(JsonText, CountsTheListsOfEveryLevel) {
    std::string text = "1,2,3";
    for (unsigned int level = 0; level < varnock::kMaxJsonNesting; ++level) {
        text = "[1,20,300," + text + ",4,5]";
    }
    EXPECT_EQ(ours(text), peer(text));
    EXPECT_EQ(ours(text), text);
}

}  // namespace
