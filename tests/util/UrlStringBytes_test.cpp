#include "util/UrlString.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>

#include <string>
#include <vector>

#include "tests/support/FailingMalloc.h"
#include "tests/support/Sanitizers.h"
#include "tests/util/UrlStringSupport.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- Decoding -----------------------------------------------------------------------------------

std::string decoded(const std::string& value, int limit = 1024) {
    const Owned bytes(CUrlString::StringFromString(value.c_str(), &limit));
    EXPECT_EQ(bytes.get()[limit], '\0');
    return std::string(bytes.get(), static_cast<std::size_t>(limit));
}

TEST(UrlString, DecodesNumbersAsBytes) {
    EXPECT_EQ(decoded("65"), "A");
    EXPECT_EQ(decoded("65,0x42,0103"), "ABC");
    EXPECT_EQ(decoded("0"), std::string(1, '\0'));
    EXPECT_EQ(decoded("0x141,-1"), "A\xFF") << "the low 8 bits";
    EXPECT_EQ(decoded("99999999999999999999999"), "\xFF");
    EXPECT_EQ(decoded(" 65 , 66 "), "AB");
}

TEST(UrlString, DecodesQuotedRuns) {
    EXPECT_EQ(decoded("\"text\""), "text");
    EXPECT_EQ(decoded("\"a,b&c\""), "a,b&c");
    EXPECT_EQ(decoded("\"\""), "");
    EXPECT_EQ(decoded("\"a\"\"b\""), "ab");
    EXPECT_EQ(decoded("\"a\",66,\"c\""), "aBc");
    EXPECT_EQ(decoded("\"open"), "open");
    EXPECT_EQ(decoded("\"a\"65,66"), "aB") << "behind quotes no number begins";
    EXPECT_EQ(decoded("65\"a\",66"), "aB") << "a quote cancels the number before it";
}

TEST(UrlString, EmptyItemsAreNoBytes) {
    EXPECT_EQ(decoded(""), "");
    EXPECT_EQ(decoded(",,"), "");
    EXPECT_EQ(decoded(",65,,66,"), "AB");
}

TEST(UrlString, WhatIsNoNumberIsAZero) {
    EXPECT_EQ(decoded("x,65"), std::string("\0A", 2));
    EXPECT_EQ(decoded(" ,65"), std::string("\0A", 2));
}

TEST(UrlString, DecodesAtMostTheLimit) {
    EXPECT_EQ(decoded("\"abcdef\"", 3), "abc");
    EXPECT_EQ(decoded("65,66,67", 2), "AB");
    EXPECT_EQ(decoded("65", 0), "");
    EXPECT_EQ(decoded("65", -5), "");
    EXPECT_EQ(decoded("65,66", 5000), "AB");
    const std::string text = "\"" + std::string(3000, 'x') + "\"";
    EXPECT_EQ(decoded(text, 3000), std::string(1024, 'x'));
    EXPECT_EQ(Owned(CUrlString::StringFromString(text.c_str(), nullptr)).text(),
              std::string(1024, 'x'));
}

TEST(UrlString, DecodingNeedsAValueAndMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    int length = 5;
    EXPECT_EQ(CUrlString::StringFromString(nullptr, &length), nullptr);
    EXPECT_EQ(CUrlString::StringFromString(nullptr, nullptr), nullptr);
    const FailingMalloc failure(1);
    EXPECT_EQ(CUrlString::StringFromString("65", nullptr), nullptr);
}

// --- Byte lists ---------------------------------------------------------------------------------

std::string setBytes(const std::vector<unsigned char>& bytes) {
    CUrlString url(":?");
    url.SetParamByteStream("d", bytes.data(), static_cast<int>(bytes.size()));
    return textOf(url).substr(4);
}

TEST(UrlString, StoresBytesInDecimal) {
    EXPECT_EQ(setBytes({1, 2, 255}), "1,2,255");
    EXPECT_EQ(setBytes({0}), "0");
    EXPECT_EQ(setBytes({200, 100, 50}), "200,100,50");
}

TEST(UrlString, StoresAnEmptyListWithoutBytes) {
    for (const int count : {0, -1, INT_MIN}) {
        CUrlString url(":?");
        const unsigned char byte = 1;
        url.SetParamByteStream("d", &byte, count);
        EXPECT_EQ(textOf(url), ":?d:");
    }
    CUrlString url(":?");
    url.SetParamByteStream("d", nullptr, 5);
    EXPECT_EQ(textOf(url), ":?d:");
}

TEST(UrlString, StoresTheNumbersThatFitInto1023Characters) {
    std::string full = "255";
    for (int i = 1; i < 256; ++i) {
        full += ",255";
    }
    ASSERT_EQ(full.size(), 1023U);
    EXPECT_EQ(setBytes(std::vector<unsigned char>(256, 255)), full);
    EXPECT_EQ(setBytes(std::vector<unsigned char>(257, 255)), full);
    EXPECT_EQ(setBytes(std::vector<unsigned char>(100000, 255)), full);
    // 1023 characters would end after a comma here, which would have no number after it.
    const std::string digits = setBytes(std::vector<unsigned char>(2000, 1));
    EXPECT_EQ(digits.size(), 1023U);
    EXPECT_EQ(digits.substr(1018), "1,1,1");
    const std::string pairs = setBytes(std::vector<unsigned char>(2000, 10));
    EXPECT_EQ(pairs.size(), 1022U);
    EXPECT_EQ(pairs.substr(1017), "10,10");
}

std::vector<unsigned char> bytesIn(const char* text, int most, int skip) {
    std::vector<unsigned char> out(64, 0xEE);
    const int count = CUrlString(text).GetParamByteStream("d", out.data(), most, skip);
    EXPECT_TRUE(std::all_of(out.begin() + count, out.end(),
                            [](unsigned char byte) { return byte == 0xEE; }));
    out.resize(static_cast<std::size_t>(count));
    return out;
}

TEST(UrlString, ReadsBytesFromAPositionOn) {
    EXPECT_THAT(bytesIn("job:?d:1,2,255", 2, 1), ElementsAre(2, 255));
    EXPECT_THAT(bytesIn("job:?d:1,2,255", 10, 0), ElementsAre(1, 2, 255));
    EXPECT_THAT(bytesIn("job:?d:1,2,255", 1, 0), ElementsAre(1));
    EXPECT_THAT(bytesIn("job:?d:1,2,255&e:4", 10, 2), ElementsAre(255));
    EXPECT_THAT(bytesIn("job:?d:\"ab\",3", 10, 1), ElementsAre('b', 3));
}

TEST(UrlString, ReadsNoBytesBeyondTheEnd) {
    EXPECT_THAT(bytesIn("job:?d:1,2,255", 10, 3), IsEmpty());
    EXPECT_THAT(bytesIn("job:?d:1,2,255", 10, 4), IsEmpty());
    EXPECT_THAT(bytesIn("job:?d:1,2,255", 10, INT_MAX), IsEmpty());
    EXPECT_THAT(bytesIn("job:?d:1,2,255", INT_MAX, INT_MAX), IsEmpty());
    EXPECT_THAT(bytesIn("job:?e:1", 10, 0), IsEmpty());
    EXPECT_THAT(bytesIn("job:?d:", 10, 0), IsEmpty());
}

TEST(UrlString, NegativeNumbersCountAsZero) {
    EXPECT_THAT(bytesIn("job:?d:1,2,255", -1, 0), IsEmpty());
    EXPECT_THAT(bytesIn("job:?d:1,2,255", INT_MIN, INT_MIN), IsEmpty());
    EXPECT_THAT(bytesIn("job:?d:1,2,255", 2, -1), ElementsAre(1, 2));
}

TEST(UrlString, AValueHasAtMost1024Bytes) {
    std::string list = ":?d:7";
    for (int i = 1; i < 1500; ++i) {
        list += ",7";
    }
    const CUrlString url(list.c_str());
    std::vector<unsigned char> out(2000);
    EXPECT_EQ(url.GetParamByteStream("d", out.data(), 2000, 0), 1024);
    EXPECT_EQ(url.GetParamByteStream("d", out.data(), 2000, 1000), 24);
    EXPECT_EQ(url.GetParamByteStream("d", out.data(), 2000, 1024), 0);
}

TEST(UrlString, ReadsNoBytesWithoutAPlaceOrMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const CUrlString url("job:?d:1,2,255");
    EXPECT_EQ(url.GetParamByteStream("d", nullptr, 3, 0), 0);
    unsigned char out[3];
    for (const std::size_t n : {1U, 2U}) {
        const FailingMalloc failure(n);
        EXPECT_EQ(url.GetParamByteStream("d", out, 3, 0), 0);
        EXPECT_TRUE(failure.happened());
    }
}

}  // namespace
}  // namespace varnock::test
