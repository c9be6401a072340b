#include "transport/SipJson.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/transport/record/SipJsonSupport.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

TEST(SipJson, ExportsAndImportsTheSameRecord) {
    SipJson sent(0xFFA0, 0x1100, 7, 1, SipJson::noStatus);
    Bytes all;
    for (unsigned int i = 0; i < 1000; ++i) {
        all.push_back(static_cast<unsigned char>(i));
    }
    sent.SetRequestDataStream(all);
    SipJson received;
    received.Import(sent.Export().c_str());
    EXPECT_EQ(received.OpCode(), 0xFFA0u);
    EXPECT_EQ(received.OpCodeExt(), 0x1100u);
    EXPECT_EQ(received.ObjectId(), 7u);
    EXPECT_EQ(received.CabinetNr(), 1u);
    EXPECT_EQ(streamOf(received), all);
    EXPECT_EQ(received.Export(), sent.Export());
}

TEST(SipJson, ImportAcceptsWhiteSpaceAndAnyOrder) {
    SipJson record;
    record.Import(
        " { \"SIP\" :\n{ \"CMD\" : [ { \"ST\" : 0 , \"OC\" : 5 } ] , \"V\" : 2 } }\t\r\n");
    EXPECT_EQ(record.OpCode(), 5u);
    EXPECT_TRUE(record.Success());
}

TEST(SipJson, ImportReplacesTheWholeDocument) {
    SipJson record(1, 2, 3, 4, 5);
    record.Import(R"({"SIP":{"CMD":[{"OC":9}]},"more":1})");
    EXPECT_EQ(record.Export(), R"({"SIP":{"CMD":[{"OC":9}]},"more":1})");
}

TEST(SipJson, UnparsableTextLeavesAnEmptyRecord) {
    for (const char* text : {"",
                             " ",
                             "x",
                             "{",
                             "}",
                             R"({"SIP":)",
                             R"({"SIP":{"V":1,"CMD":[{"OC":1})",
                             "[1,]",
                             "1e999",
                             R"({"SIP":{"V":1,"CMD":[]}} x)",
                             R"({"SIP":{"V":1,"CMD":[{"OC":1}]}}{})",
                             "1 2",
                             "\"\\ud800\"",
                             "\"\\x\"",
                             "\"unclosed",
                             "nul",
                             "/**/1",
                             "'a'",
                             "\xEF\xBB\xBF{}",
                             "\x01"}) {
        SipJson record(1, 2, 3, 4, 0);
        record.SetDataString("old", 0);
        record.Import(text);
        EXPECT_EQ(record.Export(), kSkeleton) << text;
        expectDefaults(record);
    }
}

TEST(SipJson, NullTextLeavesAnEmptyRecord) {
    SipJson record(1, 2, 3, 4, 0);
    record.Import(nullptr);
    EXPECT_EQ(record.Export(), kSkeleton);
}

TEST(SipJson, FailedImportReplacesAWrongShapeToo) {
    SipJson record;
    record.Import("[1,2]");
    record.Import("[1,2");
    EXPECT_EQ(record.Export(), kSkeleton);
}

TEST(SipJson, ImportTextEndsAtItsNul) {
    SipJson record;
    const std::string text = std::string(R"({"SIP":{"CMD":[{"OC":5}]}})") + '\0' + "rest";
    record.Import(text.c_str());
    EXPECT_EQ(record.OpCode(), 5u);
}

std::string nested(std::size_t levels, const std::string& open, const std::string& close) {
    std::string text;
    for (std::size_t i = 0; i < levels; ++i) {
        text += open;
    }
    text += "1";
    for (std::size_t i = 0; i < levels; ++i) {
        text += close;
    }
    return text;
}

TEST(SipJson, AcceptsNestingOf256Levels) {
    SipJson record;
    record.Import(nested(256, "[", "]").c_str());
    EXPECT_EQ(record.Export(), nested(256, "[", "]"));
    record.Import(nested(256, R"({"a":)", "}").c_str());
    EXPECT_EQ(record.Export(), nested(256, R"({"a":)", "}"));
}

TEST(SipJson, RefusesDeeperNesting) {
    SipJson record;
    for (const std::size_t levels : {257u, 1000u, 500000u}) {
        record.Import(nested(levels, "[", "]").c_str());
        EXPECT_EQ(record.Export(), kSkeleton);
        record.Import(nested(levels, R"({"a":)", "}").c_str());
        EXPECT_EQ(record.Export(), kSkeleton);
    }
    record.Import(nested(129, R"([{"a":)", "}]").c_str());
    EXPECT_EQ(record.Export(), kSkeleton);
}

TEST(SipJson, RefusesAMillionOpenBrackets) {
    SipJson record;
    record.Import(std::string(1 << 20, '[').c_str());
    EXPECT_EQ(record.Export(), kSkeleton);
}

TEST(SipJson, CountsDepthNotBrackets) {
    std::string list = "[]";
    for (int i = 0; i < 1000; ++i) {
        list += ",[{}]";
    }
    const WithData record("[" + list + "]");
    EXPECT_TRUE(record.HasReplyData());
    SipJson again;
    again.Import(nested(257, "[", "]").c_str());
    again.Import(nested(256, "[", "]").c_str());
    EXPECT_EQ(again.Export(), nested(256, "[", "]")) << "each import counts from zero";
}

TEST(SipJson, BracketsInTextsAreNoNesting) {
    const WithData record("\"" + std::string(2000, '[') + R"(\"{{\\")");
    std::string text;
    EXPECT_TRUE(record.GetDataString(text));
    EXPECT_EQ(text, std::string(2000, '[') + "\"{{\\");
}

TEST(SipJson, TakesBytesThatAreNoUtf8) {
    SipJson record;
    record.SetDataString("\xFF\xFE\x80", 0);
    const std::string text = record.Export();
    EXPECT_EQ(text, "{\"SIP\":{\"V\":1,\"CMD\":[{\"DA\":\"\xFF\xFE\x80\",\"ST\":0}]}}");
    SipJson received;
    received.Import(text.c_str());
    std::string out;
    EXPECT_TRUE(received.GetDataString(out));
    EXPECT_EQ(out, "\xFF\xFE\x80");
}

TEST(SipJson, KeepsEscapedNulsInTheDocument) {
    const WithData record(R"("a\u0000b")");
    EXPECT_EQ(commandsOf(record), R"({"ST":0,"DA":"a\u0000b"})");
}

TEST(SipJson, KeepsLongTexts) {
    SipJson record;
    const std::string text(100000, '"');
    record.SetDataString(text.c_str(), 0);
    SipJson received;
    received.Import(record.Export().c_str());
    std::string out;
    EXPECT_TRUE(received.GetDataString(out));
    EXPECT_EQ(out, text);
}

}  // namespace
}  // namespace varnock::test
