#include "runtime/trace/TraceFormat.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Sanitizers.h"

namespace varnock {
namespace {

using test::kSanitized;

std::string formatIn(std::size_t size, const char* format, ...) {
    std::string text(size, '#');
    va_list arguments;
    va_start(arguments, format);
    text.resize(formatTraceText(text.data(), size, format, arguments));
    va_end(arguments);
    return text;
}

template <typename... Arguments>
std::string formatted(const char* format, Arguments... arguments) {
    return formatIn(1025, format, arguments...);
}

TEST(TraceFormat, DropsNewlinesAtTheStart) {
    EXPECT_EQ(formatted("\nabc"), "abc");
    EXPECT_EQ(formatted("\n\n\nabc\n"), "abc\n");
    EXPECT_EQ(formatted("%s", "\nfrom an argument"), "\nfrom an argument");
}

TEST(TraceFormat, KeepsAFormatOfNewlinesAlone) {
    EXPECT_EQ(formatted("\n\n"), "\n\n");
    EXPECT_EQ(formatted("\n"), "\n");
    EXPECT_EQ(formatted(""), "");
}

TEST(TraceFormat, TakesPlainCharactersForCapitalS) {
    EXPECT_EQ(formatted("name %S end", "abc"), "name abc end");
    EXPECT_EQ(formatted("%S%S and %s", "a", "b", "c"), "ab and c");
    EXPECT_EQ(formatted("\n[%-6S][%6S]", "abc", "def"), "[abc   ][   def]");
    EXPECT_EQ(formatted("[%*S]", 5, "abc"), "[  abc]");
    EXPECT_EQ(formatted("[%-*.*S]", 5, 2, "abc"), "[ab   ]");
    EXPECT_EQ(formatted("%2$S %1$S", "a", "b"), "b a");
}

TEST(TraceFormat, CountsPrecisionInBytes) {
    EXPECT_EQ(formatted("%.3S|", "\xC3\xA4\xC3\xB6"), "\xC3\xA4\xC3|");
    EXPECT_EQ(formatted("%.0S|", "abc"), "|");
}

TEST(TraceFormat, LeavesEverythingElseAlone) {
    EXPECT_EQ(formatted("%%S is no conversion"), "%S is no conversion");
    EXPECT_EQ(formatted("%%%S", "abc"), "%abc");
    EXPECT_EQ(formatted("%ls %lS %S", L"wide", L"letters", "plain"), "wide letters plain");
    EXPECT_EQ(formatted("Status %d %s", 3, "S"), "Status 3 S");
    EXPECT_EQ(formatted("%lld %zu %hhd %5.1f S", 1LL, std::size_t{2}, 3, 4.5), "1 2 3   4.5 S");
    EXPECT_EQ(formatted("100 % S", "abc"), "100 abc");
}

TEST(TraceFormat, ToleratesAFormatThatEndsInAConversion) {
    if (kSanitized) {
        GTEST_SKIP() << "sanitizers refuse such a format themselves";
    }
    EXPECT_NO_FATAL_FAILURE(formatted("S%l"));
    EXPECT_NO_FATAL_FAILURE(formatted("S%"));
    EXPECT_NO_FATAL_FAILURE(formatted("S%-5."));
}

TEST(TraceFormat, CutsToTheRoomThereIs) {
    EXPECT_EQ(formatIn(4, "abcdef"), "abc");
    EXPECT_EQ(formatIn(4, "%S", "abcdef"), "abc");
    EXPECT_EQ(formatIn(4, "abc"), "abc");
    EXPECT_EQ(formatted("%s", std::string(5000, 'x').c_str()), std::string(1024, 'x'));
}

TEST(TraceFormat, GivesAnEmptyTextForWhatCannotBeFormatted) {
    const wchar_t invalid[] = {wchar_t{0x7FFFFFFF}, 0};
    EXPECT_EQ(formatted("%ls", invalid), "");
    EXPECT_EQ(formatted("before %ls", invalid), "");
}

TEST(TraceFormat, RewritesLongFormats) {
    const std::string filler(600, 'f');
    EXPECT_EQ(formatted((filler + "%S").c_str(), "abc"), filler + "abc");
    EXPECT_EQ(formatted((filler + "%*S").c_str(), 4, "abc"), filler + " abc");
}

}  // namespace
}  // namespace varnock
