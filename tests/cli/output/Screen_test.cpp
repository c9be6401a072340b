#include "cli/output/Screen.h"

#include <ctype.h>
#include <gtest/gtest.h>
#include <langinfo.h>

namespace varnockctl {
namespace {

constexpr Screen kUtf8{.width = 0, .isUtf8 = true, .hasGlyphs = true, .hasColour = false};
constexpr Screen kAscii{.width = 0, .isUtf8 = false, .hasGlyphs = false, .hasColour = false};

TEST(Screen, AFileGetsWholeLinesWithoutColour) {
    testing::internal::CaptureStdout();
    const Screen screen = Screen::ofOutput(false);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(screen.width, 0U);
    EXPECT_TRUE(screen.isUtf8);
    EXPECT_FALSE(screen.hasColour);
}

TEST(Screen, TheLocaleOfTheDisplayEndsWithIt) {
    {
        const DisplayLocale locale(kUtf8);
        EXPECT_STREQ(nl_langinfo(CODESET), "UTF-8");
    }
    EXPECT_STREQ(nl_langinfo(CODESET), "ANSI_X3.4-1968");
}

TEST(Screen, CharactersTakeTheirColumns) {
    const DisplayLocale locale(kUtf8);
    EXPECT_EQ(columnsOf(""), 0U);
    EXPECT_EQ(columnsOf("abc"), 3U);
    EXPECT_EQ(columnsOf("gr\u00FCn"), 4U);
    EXPECT_EQ(columnsOf("\u4E2D\u6587"), 4U);  // wide
    EXPECT_EQ(columnsOf("e\u0301"), 1U);       // combining
    EXPECT_EQ(columnsOf("\xFF\xFE"), 2U);      // no characters
}

TEST(Screen, ALongTextEndsInAnEllipsis) {
    const DisplayLocale locale(kUtf8);
    EXPECT_EQ(clipped("abc", 3, kUtf8), "abc");
    EXPECT_EQ(clipped("abcd", 3, kUtf8), "ab\u2026");
    EXPECT_EQ(clipped("\u4E2D\u6587\u4E2D", 4, kUtf8), "\u4E2D\u2026");
    EXPECT_EQ(clipped("abcd", 1, kUtf8), "\u2026");
}

TEST(Screen, WithoutUtf8TheEllipsisIsThreeDots) {
    const DisplayLocale locale(kAscii);
    EXPECT_EQ(clipped("abcdef", 5, kAscii), "ab...");
    EXPECT_EQ(clipped("abcdef", 2, kAscii), "..");
}

TEST(Screen, ATextIsBrokenBetweenItsWords) {
    const DisplayLocale locale(kUtf8);
    EXPECT_EQ(wrapped("one two three", 7), "one two\nthree");
    EXPECT_EQ(wrapped("one two three", 6), "one\ntwo\nthree");
    EXPECT_EQ(wrapped("abcdefgh ij", 5), "abcde\nfgh\nij");
    EXPECT_EQ(wrapped(" abcdef", 3), " ab\ncde\nf");
    EXPECT_EQ(wrapped("\u4E2D\u6587", 1), "\u4E2D\n\u6587");
    EXPECT_EQ(wrapped("", 1), "");
}

TEST(Screen, WhatAScreenCannotShowIsEscaped) {
    EXPECT_EQ(shownText("gr\u00FCn\x1B[31m\xFF", kUtf8), "gr\u00FCn\\x1B[31m\\xFF");
    EXPECT_EQ(shownText("gr\u00FCn\x1B[31m\xFF", kAscii), "gr\\xC3\\xBCn\\x1B[31m\\xFF");
}

}  // namespace
}  // namespace varnockctl
