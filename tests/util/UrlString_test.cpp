#include "util/UrlString.h"

#include <gtest/gtest.h>
#include <limits.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/EveryAllocation.h"
#include "tests/support/ForeignLocale.h"
#include "tests/support/Sanitizers.h"
#include "tests/util/UrlStringSupport.h"

namespace varnock::test {
namespace {

static_assert(!std::is_copy_assignable_v<CUrlString>);
static_assert(!std::is_polymorphic_v<CUrlString>);
static_assert(sizeof(CUrlString) == sizeof(CExtendableString));

TEST(UrlString, TheLocaleChangesNoWhiteSpaceAndNoNumbers) {
    const ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    ASSERT_TRUE(locale.use());
    const CUrlString url(
        "job:?a:\xA0"
        "5&b: 5&c:1.234&\xA0"
        "d:4&e:\xA0"
        "7,8");
    EXPECT_EQ(url.GetParamIntVal("a", -1), -1);
    EXPECT_EQ(url.GetParamIntVal("b", -1), 5);
    EXPECT_EQ(url.GetParamIntVal("c", -1), 1);
    EXPECT_EQ(url.GetParamIntVal("d", -1), -1);
    unsigned char bytes[4] = {9, 9, 9, 9};
    EXPECT_EQ(url.GetParamByteStream("e", bytes, sizeof bytes, 0), 2);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 8);
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

/// "offset length", or "none" if all three operations agree that there is no such value.
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
    // The value follows the first colon, even if that belongs to the next parameter.
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
    // Names are also found inside quotes.
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
}

TEST(UrlString, TheDefaultStandsForANumberWithoutMemory) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const CUrlString url("job:?a:5");
    const FailingMalloc failure(1);
    EXPECT_EQ(url.GetParamIntVal("a", 7), 7);
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
    SKIP_IF_MALLOC_IS_REPLACED();
    const CUrlString url("job:?s:\"x\"");
    for (const std::size_t n : {1U, 2U}) {
        const FailingMalloc failure(n);
        EXPECT_EQ(url.GetParamStringVal("s", "default"), nullptr);
        EXPECT_TRUE(failure.happened());
    }
    const FailingMalloc failure(1);
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
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::string longText(200, 'x');
    const std::vector<unsigned char> bytes(100, 7);
    const std::vector<std::function<void(CUrlString&)>> changes = {
        [&](CUrlString& url) { url.SetService(longText.c_str()); },
        [&](CUrlString& url) { url.SetParamVal("a", longText.c_str()); },
        [&](CUrlString& url) { url.SetParamVal("b", "2"); },
        [&](CUrlString& url) { url.SetParamStringVal("a", longText.c_str()); },
        [&](CUrlString& url) { url.SetParamByteStream("b", bytes.data(), 100); },
        [&](CUrlString& url) { url.Append(longText.c_str(), -1); },
    };
    for (const auto& change : changes) {
        CUrlString changed("job:?a:1");
        change(changed);
        const std::string after = textOf(changed);
        const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
            auto url = std::make_unique<CUrlString>("job:?a:1");
            FailingMalloc failure(call.n, call.times);
            change(*url);
            failure.end();
            EXPECT_EQ(textOf(*url), failure.happened() ? "job:?a:1" : after);
            url.reset();
            EXPECT_EQ(failure.blocksLeft(), 0u);
            return failure.happened();
        });
        EXPECT_GT(failures, 0u);
    }
}

}  // namespace
}  // namespace varnock::test
