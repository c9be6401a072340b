#include "util/UrlString.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// How many allocations of the calling thread succeed before one fails; below 0: all of them.
thread_local int allocationsLeft = -1;

}  // namespace

// The linker sends every call of malloc in this program here.
extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
    if (allocationsLeft == 0) {
        allocationsLeft = -1;
        return nullptr;
    }
    if (allocationsLeft > 0) --allocationsLeft;
    return __real_malloc(size);
}

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_copy_constructible_v<CExtendableString>);
static_assert(!std::is_copy_assignable_v<CUrlString>);
static_assert(!std::is_polymorphic_v<CUrlString>);
static_assert(sizeof(CUrlString) == sizeof(CExtendableString));

/// A result that its caller frees.
class Owned {
  public:
    explicit Owned(char* text) : text_(text, free) {}
    std::string text() const { return text_ ? text_.get() : "(null)"; }
    bool isNull() const { return text_ == nullptr; }
    const char* get() const { return text_.get(); }

  private:
    std::unique_ptr<char, void (*)(void*)> text_;
};

std::string extracted(const CExtendableString& string, int start, int count) {
    return Owned(string.Extract(start, count)).text();
}

std::string textOf(const CExtendableString& string) {
    EXPECT_EQ(string.GetLength(), static_cast<int>(std::string(string.GetText()).size()));
    return string.GetText();
}

// --- CExtendableString --------------------------------------------------------------------------

TEST(ExtendableString, StartsEmptyOrWithACopy) {
    EXPECT_EQ(textOf(CExtendableString()), "");
    EXPECT_EQ(textOf(CExtendableString(nullptr)), "");
    EXPECT_EQ(textOf(CExtendableString("")), "");
    const std::string text = "a text";
    const CExtendableString copy(text.c_str());
    EXPECT_EQ(textOf(copy), text);
    EXPECT_NE(copy.GetText(), text.c_str());
}

TEST(ExtendableString, ExtractsWithinTheText) {
    const CExtendableString string("0123456789");
    EXPECT_EQ(extracted(string, 2, 3), "234");
    EXPECT_EQ(extracted(string, 0, -1), "0123456789");
    EXPECT_EQ(extracted(string, 7, -1), "789");
    EXPECT_EQ(extracted(string, 7, 100), "789");
    EXPECT_EQ(extracted(string, -4, 2), "01");
    EXPECT_EQ(extracted(string, 10, 1), "");
    EXPECT_EQ(extracted(string, 11, 1), "");
    EXPECT_EQ(extracted(string, 3, 0), "");
    EXPECT_EQ(extracted(string, INT_MAX, INT_MAX), "");
    EXPECT_EQ(extracted(string, 1, INT_MAX), "123456789");
    EXPECT_EQ(extracted(string, INT_MIN, INT_MIN), "0123456789");
    EXPECT_EQ(extracted(CExtendableString(), 0, -1), "");
    EXPECT_EQ(textOf(string), "0123456789");
}

std::string cleared(int start, int count) {
    CExtendableString string("0123456789");
    string.Clear(start, count);
    return textOf(string);
}

TEST(ExtendableString, ClearsWithinTheText) {
    EXPECT_EQ(cleared(2, 3), "0156789");
    EXPECT_EQ(cleared(-2, 3), "3456789");
    EXPECT_EQ(cleared(8, 100), "01234567");
    EXPECT_EQ(cleared(1, INT_MAX), "0");
    EXPECT_EQ(cleared(5, -1), "01234");
    EXPECT_EQ(cleared(3, 0), "0123456789");
    EXPECT_EQ(cleared(10, 1), "0123456789");
    EXPECT_EQ(cleared(11, -1), "0123456789");
    EXPECT_EQ(cleared(INT_MAX, INT_MAX), "0123456789");
    EXPECT_EQ(cleared(0, 10), "");
    EXPECT_EQ(cleared(INT_MIN, INT_MIN), "");
}

TEST(ExtendableString, IsUsableAfterItWasEmptied) {
    CExtendableString string("text");
    string.Clear(0, -1);
    EXPECT_EQ(textOf(string), "");
    string.Clear(0, -1);
    string.Append("new", -1);
    EXPECT_EQ(textOf(string), "new");
}

std::string appended(const char* text, int at) {
    CExtendableString string("01234");
    string.Append(text, at);
    return textOf(string);
}

TEST(ExtendableString, AppendsAtTheEndAndOverwritesFromAPosition) {
    EXPECT_EQ(appended("ab", 5), "01234ab");
    EXPECT_EQ(appended("ab", -1), "01234ab");
    EXPECT_EQ(appended("ab", INT_MIN), "01234ab");
    EXPECT_EQ(appended("ab", 6), "01234ab");
    EXPECT_EQ(appended("ab", INT_MAX), "01234ab");
    EXPECT_EQ(appended("ab", 4), "0123ab");
    EXPECT_EQ(appended("ab", 1), "0ab");
    EXPECT_EQ(appended("ab", 0), "ab");
}

TEST(ExtendableString, AppendingNothingCuts) {
    for (const char* nothing : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(appended(nothing, 2), "01");
        EXPECT_EQ(appended(nothing, -1), "01234");
        EXPECT_EQ(appended(nothing, 9), "01234");
        EXPECT_EQ(appended(nothing, 0), "");
    }
    CExtendableString empty;
    empty.Append(nullptr, 0);
    EXPECT_EQ(textOf(empty), "");
}

std::string replaced(const char* text, int start, int count) {
    CExtendableString string("01234");
    string.Replace(text, start, count);
    return textOf(string);
}

TEST(ExtendableString, ReplacesWithinTheText) {
    EXPECT_EQ(replaced("ab", 1, 2), "0ab34");
    EXPECT_EQ(replaced("abcdef", 1, 2), "0abcdef34");
    EXPECT_EQ(replaced("a", 0, 5), "a");
    EXPECT_EQ(replaced("ab", 2, -1), "01ab");
    EXPECT_EQ(replaced("ab", 3, INT_MAX), "012ab");
    EXPECT_EQ(replaced("ab", -3, 1), "ab1234");
    EXPECT_EQ(replaced("ab", INT_MAX, 1), "01234ab");
    EXPECT_EQ(replaced("", 1, 2), "034");
    EXPECT_EQ(replaced(nullptr, 1, 2), "034");
    EXPECT_EQ(replaced(nullptr, 0, -1), "");
}

TEST(ExtendableString, ACountOfZeroInserts) {
    EXPECT_EQ(replaced("ab", 2, 0), "01ab234");
    EXPECT_EQ(replaced("ab", 0, 0), "ab01234");
    EXPECT_EQ(replaced("ab", 5, 0), "01234ab");
}

TEST(ExtendableString, TakesPartsOfItsOwnText) {
    CExtendableString string("0123456789");
    string.Append(string.GetText() + 5, 2);
    EXPECT_EQ(textOf(string), "0156789");
    string.Replace(string.GetText(), 1, 2);
    EXPECT_EQ(textOf(string), "001567896789");
    string.Append(string.GetText(), -1);
    EXPECT_EQ(textOf(string), "001567896789001567896789");
    string.Append(string.GetText() + string.GetLength(), 3);
    EXPECT_EQ(textOf(string), "001");
}

TEST(ExtendableString, KeepsItsTextWithoutMemory) {
    CExtendableString string("text");
    for (const auto& change : std::vector<std::function<void()>>{
             [&] { string.Append("more", -1); }, [&] { string.Replace("other", 1, 2); }}) {
        allocationsLeft = 0;
        change();
        EXPECT_EQ(allocationsLeft, -1) << "nothing was allocated";
        EXPECT_EQ(textOf(string), "text");
    }
    allocationsLeft = 0;
    EXPECT_EQ(string.Extract(0, -1), nullptr);
    allocationsLeft = 0;
    const CExtendableString copy("text");
    EXPECT_EQ(allocationsLeft, -1);
    EXPECT_EQ(textOf(copy), "");
}

TEST(ExtendableString, ClearsWithoutMemory) {
    CExtendableString string("0123456789");
    allocationsLeft = 0;
    string.Clear(2, 3);
    string.Append(nullptr, 4);
    string.Replace("", 0, 1);
    EXPECT_EQ(allocationsLeft, 0);
    allocationsLeft = -1;
    EXPECT_EQ(textOf(string), "156");
}

/// Gets at the parts of a change.
class Spliced : public CExtendableString {
  public:
    using CExtendableString::Splice;
};

TEST(ExtendableString, RefusesMoreThanTheLargestLength) {
    // The parts share one block of half a gibibyte, which nobody reads.
    const std::size_t size = std::size_t{INT_MAX} / 4 + 1;
    const std::unique_ptr<char, void (*)(void*)> block(static_cast<char*>(calloc(size, 1)), free);
    if (block == nullptr) GTEST_SKIP() << "not enough memory";
    const std::string_view part(block.get(), size);
    Spliced string;
    string.Append("text", -1);
    EXPECT_FALSE(string.Splice(0, 0, {part, part, part, part}));
    EXPECT_FALSE(string.Splice(0, 4, {part, part, part, part}));
    EXPECT_EQ(textOf(string), "text");
}

// --- The list -----------------------------------------------------------------------------------

std::string withService(const char* text, const char* service) {
    CUrlString url(text);
    url.SetService(service);
    return textOf(url);
}

TEST(UrlString, BuildsAListStepByStep) {
    CUrlString url("?");
    url.SetService("job");
    EXPECT_EQ(textOf(url), "job:?");
    url.SetParamVal("a", "1");
    EXPECT_EQ(textOf(url), "job:?a:1");
    url.SetParamVal("b", "2");
    EXPECT_EQ(textOf(url), "job:?a:1&b:2");
}

TEST(UrlString, SetsReplacesAndRemovesTheService) {
    EXPECT_EQ(withService("", "job"), "job:?");
    EXPECT_EQ(withService("old:?a:1", "job"), "job:?a:1");
    EXPECT_EQ(withService("old?a:1", "job"), "job:?a:1");
    EXPECT_EQ(withService("?a:1", "job"), "job:?a:1");
    EXPECT_EQ(withService(":?", "job"), "job:?");
    EXPECT_EQ(withService("old:?a:1", nullptr), ":?a:1");
    EXPECT_EQ(withService("old?a:1", ""), ":?a:1");
    EXPECT_EQ(withService("", nullptr), ":?");
}

TEST(UrlString, LeavesATextWithoutAListBehindTheNewOne) {
    EXPECT_EQ(withService("old", "job"), "job:?old");
    EXPECT_EQ(withService("a:1", "job"), "job:?a:1");
    EXPECT_EQ(withService("o\"ld?a:1", "job"), "job:?o\"ld?a:1");
    EXPECT_EQ(withService("old:", "job"), "job:?old:");
}

TEST(UrlString, KnowsWhereTheListBegins) {
    EXPECT_EQ(CUrlString().GetParamListOffset(), 0);
    EXPECT_EQ(CUrlString("job").GetParamListOffset(), 0);
    EXPECT_EQ(CUrlString("job:").GetParamListOffset(), 0);
    EXPECT_EQ(CUrlString("job:a?b").GetParamListOffset(), 0);
    EXPECT_EQ(CUrlString("jo\"b?").GetParamListOffset(), 0);
    EXPECT_EQ(CUrlString("job?").GetParamListOffset(), 4);
    EXPECT_EQ(CUrlString("job:?a:1").GetParamListOffset(), 5);
    EXPECT_EQ(CUrlString("?").GetParamListOffset(), 1);
    EXPECT_EQ(CUrlString(":?").GetParamListOffset(), 2);
    EXPECT_EQ(CUrlString("job?:?").GetParamListOffset(), 4);
}

// --- Finding ------------------------------------------------------------------------------------

/// "offset length", or "none" when all three operations agree that there is no such value.
std::string found(const char* text, const char* name) {
    CUrlString url(text);
    int length = -1;
    int again = -1;
    const int offset = url.GetParamValueOffset(name, &length);
    const char* value = url.GetParamValueString(name, &again);
    EXPECT_EQ(length, again);
    EXPECT_EQ(url.GetParamValueOffset(name, nullptr), offset);
    EXPECT_EQ(value, offset == 0 ? nullptr : url.GetText() + offset);
    if (value == nullptr) {
        EXPECT_EQ(length, 0);
        return "none";
    }
    return std::string(value, static_cast<std::size_t>(length));
}

TEST(UrlString, FindsValuesByTheirNames) {
    const char* text = "job:?a:1&bc:23&d:\"x\"";
    EXPECT_EQ(found(text, "a"), "1");
    EXPECT_EQ(found(text, "bc"), "23");
    EXPECT_EQ(found(text, "d"), "\"x\"");
    EXPECT_EQ(found(text, "c"), "none");
    EXPECT_EQ(found(text, "job"), "none");
    EXPECT_EQ(found("job?a:1", "a"), "1");
    EXPECT_EQ(found("?a:", "a"), "");
    EXPECT_EQ(found("?a:&b:1", "a"), "");
}

TEST(UrlString, FindsNothingWithoutAList) {
    EXPECT_EQ(found("", "a"), "none");
    EXPECT_EQ(found("a:1", "a"), "none");
    EXPECT_EQ(found("job&a:1", "a"), "none");
    EXPECT_EQ(found("\"?a:1", "a"), "none");
}

TEST(UrlString, FindsNothingWithoutAName) {
    EXPECT_EQ(found("job:?a:1", nullptr), "none");
    EXPECT_EQ(found("job:?a:1", ""), "none");
    EXPECT_EQ(found("job:?:1", ""), "none");
}

TEST(UrlString, FindsNothingWithoutAColon) {
    EXPECT_EQ(found("job:?a", "a"), "none");
    EXPECT_EQ(found("job:?b:1&a", "a"), "none");
}

TEST(UrlString, MatchesTheNameAsAPrefix) {
    EXPECT_EQ(found("job:?abc:1", "a"), "1");
    EXPECT_EQ(found("job:?a:1&abc:2", "a"), "1");
    EXPECT_EQ(found("job:?abc:2&a:1", "a"), "2") << "the first match counts";
    EXPECT_EQ(found("job:?abc:2&a:1", "abcd"), "none");
    EXPECT_EQ(found("job:?abc:2&a:1", "bc"), "none");
    // The value is behind the first colon, even that of the next parameter.
    EXPECT_EQ(found("job:?ab&c:1", "a"), "1");
    EXPECT_EQ(found("job:?a:b:1", "a:b"), "b:1");
}

TEST(UrlString, IgnoresWhiteSpaceBeforeNamesAndValues) {
    EXPECT_EQ(found("job:? \t\n a:1", "a"), "1");
    EXPECT_EQ(found("job:?b:1& a:\v\f\r 2 &c:3", "a"), "2 ") << "white space behind belongs to it";
    EXPECT_EQ(found("job:?b:1 a:2", "a"), "none");
    EXPECT_EQ(found("job:?a :1", "a"), "1");
    EXPECT_EQ(found("job:?a: ", "a"), "");
}

TEST(UrlString, AnOccurrenceAtTheStartOfTheTextIsNoParameter) {
    EXPECT_EQ(found("a?a:1", "a"), "1");
    EXPECT_EQ(found("a?b:1", "a"), "none");
    EXPECT_EQ(found("  a?b:1", "a"), "none") << "nor behind white space at the start";
    EXPECT_EQ(found("  ?b:1", "  "), "none");
    EXPECT_EQ(found("?", "?"), "none");
}

TEST(UrlString, AValueRunsToTheNextSeparatorOutsideOfQuotes) {
    EXPECT_EQ(found("?a:\"x&y\"&b:1", "a"), "\"x&y\"");
    EXPECT_EQ(found("?a:1,\"&\",2&b:1", "a"), "1,\"&\",2");
    EXPECT_EQ(found("?a:\"x&b:1", "a"), "\"x&b:1") << "an open quote runs to the end";
    EXPECT_EQ(found("?a:\"x\"\"&\"&b:1", "a"), "\"x\"\"&\"");
    // Names are looked for inside of quotes as well.
    EXPECT_EQ(found("?a:\"x&b:1\"&b:2", "b"), "1\"&b:2");
}

// --- Numbers ------------------------------------------------------------------------------------

int numberIn(const char* value) {
    return CUrlString((std::string("job:?a:") + value).c_str()).GetParamIntVal("a", 7);
}

TEST(UrlString, ReadsNumbersAsScanfDoes) {
    EXPECT_EQ(numberIn("0x10"), 16);
    EXPECT_EQ(numberIn("0X1f"), 31);
    EXPECT_EQ(numberIn("010"), 8);
    EXPECT_EQ(numberIn("10"), 10);
    EXPECT_EQ(numberIn("-5"), -5);
    EXPECT_EQ(numberIn("+5"), 5);
    EXPECT_EQ(numberIn("  12abc"), 12);
    EXPECT_EQ(numberIn("12,34"), 12);
    EXPECT_EQ(numberIn("08"), 0) << "an octal 0 and something else";
}

TEST(UrlString, CutsNumbersTo32Bits) {
    EXPECT_EQ(numberIn("2147483647"), INT_MAX);
    EXPECT_EQ(numberIn("-2147483648"), INT_MIN);
    EXPECT_EQ(numberIn("0xFFFFFFFF"), -1);
    EXPECT_EQ(numberIn("4294967298"), 2);
    EXPECT_EQ(numberIn("99999999999999999999"), -1);
}

TEST(UrlString, TheDefaultStandsForWhatIsNoNumber) {
    EXPECT_EQ(numberIn(""), 7);
    EXPECT_EQ(numberIn("x"), 7);
    EXPECT_EQ(numberIn("\"5\""), 7);
    EXPECT_EQ(numberIn("&b:1"), 7) << "the next value is not read";
    EXPECT_EQ(CUrlString("job:?b:1").GetParamIntVal("a", 7), 7);
    EXPECT_EQ(CUrlString("job:?b:1").GetParamIntVal(nullptr, -7), -7);
    CUrlString url("job:?a:5");
    allocationsLeft = 0;
    EXPECT_EQ(url.GetParamIntVal("a", 7), 7);
}

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
    int length = 5;
    EXPECT_EQ(CUrlString::StringFromString(nullptr, &length), nullptr);
    EXPECT_EQ(CUrlString::StringFromString(nullptr, nullptr), nullptr);
    allocationsLeft = 0;
    EXPECT_EQ(CUrlString::StringFromString("65", nullptr), nullptr);
}

// --- Texts --------------------------------------------------------------------------------------

std::string stringIn(const char* text, const char* name, const char* defaultValue) {
    return Owned(CUrlString(text).GetParamStringVal(name, defaultValue)).text();
}

TEST(UrlString, ReadsTexts) {
    EXPECT_EQ(stringIn("job:?s:\"x&y\"&t:\"z\"", "s", nullptr), "x&y");
    EXPECT_EQ(stringIn("job:?s:\"x&y\"&t:\"z\"", "t", "default"), "z");
    EXPECT_EQ(stringIn("job:?s:72,105", "s", nullptr), "Hi");
    EXPECT_EQ(stringIn("job:?s:", "s", "default"), "") << "an empty value is a value";
}

TEST(UrlString, GivesACopyOfTheDefaultForAnAbsentText) {
    const char* text = "default";
    const Owned copy(CUrlString("job:?t:1").GetParamStringVal("s", text));
    EXPECT_EQ(copy.text(), text);
    EXPECT_NE(copy.get(), text);
    EXPECT_TRUE(Owned(CUrlString("job:?t:1").GetParamStringVal("s", nullptr)).isNull());
}

TEST(UrlString, ReadsNoTextWithoutMemory) {
    const CUrlString url("job:?s:\"x\"");
    for (const int left : {0, 1}) {
        allocationsLeft = left;
        EXPECT_EQ(url.GetParamStringVal("s", "default"), nullptr);
        EXPECT_EQ(allocationsLeft, -1);
    }
    allocationsLeft = 0;
    EXPECT_EQ(url.GetParamStringVal("t", "default"), nullptr);
}

std::string setString(const std::string& value) {
    CUrlString url(":?");
    url.SetParamStringVal("s", value.c_str());
    return textOf(url);
}

TEST(UrlString, StoresTextsInQuotes) {
    EXPECT_EQ(setString("x&y"), ":?s:\"x&y\"");
    EXPECT_EQ(setString(""), ":?s:\"\"");
    EXPECT_EQ(setString("a\"b"), ":?s:\"a\"b\"") << "there is no escape";
    CUrlString url(":?");
    url.SetParamStringVal("s", nullptr);
    EXPECT_EQ(textOf(url), ":?s:\"\"");
}

TEST(UrlString, StoresAtMost1024Characters) {
    EXPECT_EQ(setString(std::string(1024, 'x')), ":?s:\"" + std::string(1024, 'x') + "\"");
    EXPECT_EQ(setString(std::string(1025, 'x')), ":?s:\"" + std::string(1024, 'x') + "\"");
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
    for (int i = 1; i < 256; ++i) full += ",255";
    ASSERT_EQ(full.size(), 1023U);
    EXPECT_EQ(setBytes(std::vector<unsigned char>(256, 255)), full);
    EXPECT_EQ(setBytes(std::vector<unsigned char>(257, 255)), full);
    EXPECT_EQ(setBytes(std::vector<unsigned char>(100000, 255)), full);
    // 1023 characters end behind a comma here, which would stand for nothing.
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
    for (int i = 1; i < 1500; ++i) list += ",7";
    const CUrlString url(list.c_str());
    std::vector<unsigned char> out(2000);
    EXPECT_EQ(url.GetParamByteStream("d", out.data(), 2000, 0), 1024);
    EXPECT_EQ(url.GetParamByteStream("d", out.data(), 2000, 1000), 24);
    EXPECT_EQ(url.GetParamByteStream("d", out.data(), 2000, 1024), 0);
}

TEST(UrlString, ReadsNoBytesWithoutAPlaceOrMemory) {
    const CUrlString url("job:?d:1,2,255");
    EXPECT_EQ(url.GetParamByteStream("d", nullptr, 3, 0), 0);
    unsigned char out[3];
    for (const int left : {0, 1}) {
        allocationsLeft = left;
        EXPECT_EQ(url.GetParamByteStream("d", out, 3, 0), 0);
        EXPECT_EQ(allocationsLeft, -1);
    }
}

// --- Setting ------------------------------------------------------------------------------------

TEST(UrlString, ReplacesValuesInPlace) {
    CUrlString url("job:?a:1&b:\"x&y\"&c:3");
    url.SetParamVal("b", "2");
    EXPECT_EQ(textOf(url), "job:?a:1&b:2&c:3");
    url.SetParamVal("a", "a longer value");
    EXPECT_EQ(textOf(url), "job:?a:a longer value&b:2&c:3");
    url.SetParamVal("c", "");
    EXPECT_EQ(textOf(url), "job:?a:a longer value&b:2&c:");
    url.SetParamVal("c", nullptr);
    url.SetParamVal("d", nullptr);
    EXPECT_EQ(textOf(url), "job:?a:a longer value&b:2&c:&d:");
}

TEST(UrlString, SeparatesWhatItAppends) {
    CUrlString url("job:?");
    url.SetParamVal("a", "1");
    url.Append("&", -1);
    url.SetParamVal("b", "2");
    EXPECT_EQ(textOf(url), "job:?a:1&b:2");
}

TEST(UrlString, ParametersSetBeforeTheListAreNotFoundAgain) {
    CUrlString url;
    url.SetParamVal("a", "1");
    EXPECT_EQ(textOf(url), "a:1");
    url.SetParamVal("a", "2");
    EXPECT_EQ(textOf(url), "a:1&a:2");
    EXPECT_EQ(url.GetParamIntVal("a", 7), 7);
}

TEST(UrlString, ANullNameSetsNothing) {
    CUrlString url("job:?a:1");
    const unsigned char byte = 1;
    url.SetParamVal(nullptr, "1");
    url.SetParamStringVal(nullptr, "1");
    url.SetParamByteStream(nullptr, &byte, 1);
    EXPECT_EQ(textOf(url), "job:?a:1");
    url.SetParamVal("", "1");
    EXPECT_EQ(textOf(url), "job:?a:1&:1") << "an empty name is none that is ever found";
}

TEST(UrlString, TakesNamesAndValuesOutOfItsOwnText) {
    CUrlString url("job:?a:1&b:2");
    url.SetParamVal("a", url.GetText());
    EXPECT_EQ(textOf(url), "job:?a:job:?a:1&b:2&b:2");
    url.SetParamVal(url.GetText(), url.GetText() + 20);
    EXPECT_EQ(textOf(url), "job:?a:job:?a:1&b:2&b:2&job:?a:job:?a:1&b:2&b:2:b:2");
    url.SetService(url.GetText() + url.GetLength() - 3);
    EXPECT_EQ(textOf(url), "b:2:?a:job:?a:1&b:2&b:2&job:?a:job:?a:1&b:2&b:2:b:2");
}

TEST(UrlString, KeepsItsTextWithoutMemory) {
    CUrlString url("job:?a:1");
    const unsigned char byte = 1;
    for (const auto& change : std::vector<std::function<void()>>{
             [&] { url.SetService("other"); }, [&] { url.SetParamVal("a", "2"); },
             [&] { url.SetParamVal("b", "2"); }, [&] { url.SetParamStringVal("b", "2"); },
             [&] { url.SetParamByteStream("b", &byte, 1); }}) {
        allocationsLeft = 0;
        change();
        EXPECT_EQ(allocationsLeft, -1) << "nothing was allocated";
        EXPECT_EQ(textOf(url), "job:?a:1");
    }
}

// --- Random strings -----------------------------------------------------------------------------

/// One parameter as it was set, and what it must read back as.
struct Expected {
    bool isNumber;
    int number;
    std::string bytes;
};

/// Sets random parameters and reads them back. Names are in capitals, which no value has, and none
/// begins with another, so each finds its own value.
class RoundTrip {
  public:
    explicit RoundTrip(unsigned int seed) : random_(seed) {}

    void run() {
        CUrlString url(pick(2) == 0 ? "" : "?");
        url.SetService(text("abcxyz0189/._-", 12).c_str());
        std::map<std::string, Expected> expected;
        for (unsigned int i = pick(7); i > 0; --i) set(url, expected);
        if (pick(4) == 0) url.SetService(text("newservice", 10).c_str());
        for (const auto& [name, value] : expected) check(url, name, value);
    }

  private:
    unsigned int pick(unsigned int below) { return static_cast<unsigned int>(random_() % below); }

    std::string text(std::string_view alphabet, unsigned int most) {
        std::string out;
        for (unsigned int size = pick(most + 1); size > 0; --size) {
            out.push_back(alphabet[pick(static_cast<unsigned int>(alphabet.size()))]);
        }
        return out;
    }
    std::string bytes(unsigned int most) {
        std::string out;
        for (unsigned int size = pick(most + 1); size > 0; --size) {
            out.push_back(static_cast<char>(random_()));
        }
        return out;
    }
    // Anything that can stand in quotes, apart from the letters of names.
    std::string quotable(unsigned int most) {
        std::string out = bytes(most);
        for (char& c : out) {
            if (c == '\0' || c == '"' || (c >= 'A' && c <= 'Z')) c = "&?:, ,&"[pick(7)];
        }
        return out;
    }
    std::string newName(const std::map<std::string, Expected>& taken) {
        for (;;) {
            const std::string name = "N" + text("ABCDEFGHIJKLMNOPQRSTUVWXYZ", 6);
            const auto collides = [&](const auto& other) {
                return other.first != name &&
                       (name.rfind(other.first, 0) == 0 || other.first.rfind(name, 0) == 0);
            };
            if (std::none_of(taken.begin(), taken.end(), collides)) return name;
        }
    }
    unsigned int size() { return pick(20) == 0 ? 1100 : 40; }

    void set(CUrlString& url, std::map<std::string, Expected>& expected) {
        const std::string name = newName(expected);
        switch (pick(3)) {
            case 0:
                expected[name] = setNumber(url, name);
                break;
            case 1: {
                const std::string value = quotable(size());
                url.SetParamStringVal(name.c_str(), value.c_str());
                expected[name] = {false, 0, value.substr(0, 1024)};
                break;
            }
            default: {
                // 256 bytes always fit.
                const std::string value = bytes(std::min(size(), 256U));
                url.SetParamByteStream(name.c_str(),
                                       reinterpret_cast<const unsigned char*>(value.data()),
                                       static_cast<int>(value.size()));
                expected[name] = {false, 0, value};
                break;
            }
        }
    }
    Expected setNumber(CUrlString& url, const std::string& name) {
        const auto number = static_cast<unsigned int>(random_()) >> pick(32);
        char digits[32];
        static constexpr const char* formats[] = {"%u", "0x%x", "0%o", " \t%u ", "+%u"};
        snprintf(digits, sizeof digits, formats[pick(5)], number);
        url.SetParamVal(name.c_str(), digits);
        return {true, static_cast<int>(number), std::string(1, static_cast<char>(number))};
    }

    void check(CUrlString& url, const std::string& name, const Expected& expected) {
        if (expected.isNumber) {
            ASSERT_EQ(url.GetParamIntVal(name.c_str(), ~expected.number), expected.number)
                << url.GetText();
        }
        const Owned all(url.GetParamStringVal(name.c_str(), nullptr));
        ASSERT_EQ(std::string(all.get(), strlen(all.get())), expected.bytes.c_str())
            << name << " in " << url.GetText();
        const unsigned int skip = pick(static_cast<unsigned int>(expected.bytes.size()) + 3);
        const unsigned int most = pick(1200);
        std::string out(1200, '\0');
        const int count =
            url.GetParamByteStream(name.c_str(), reinterpret_cast<unsigned char*>(out.data()),
                                   static_cast<int>(most), static_cast<int>(skip));
        ASSERT_GE(count, 0);
        const std::string rest =
            skip < expected.bytes.size() ? expected.bytes.substr(skip, most) : "";
        ASSERT_EQ(out.substr(0, static_cast<std::size_t>(count)), rest)
            << name << " in " << url.GetText();
    }

    std::mt19937 random_;
};

// VARNOCK_ROUNDS asks for more of them.
TEST(UrlString, RandomParametersReadBackAsTheyWereSet) {
    const char* wanted = getenv("VARNOCK_ROUNDS");
    const unsigned long rounds = wanted != nullptr ? strtoul(wanted, nullptr, 10) : 5000;
    RoundTrip trip(20261121);
    for (unsigned long round = 0; round < rounds && !HasFatalFailure(); ++round) trip.run();
}

}  // namespace
}  // namespace varnock::test
