#include "tools/Printable.h"

#include <gtest/gtest.h>

namespace varnock {
namespace {

TEST(Printable, LeavesTextAsItIs) {
    EXPECT_EQ(printable("Gr\xC3\xBC\xC3\x9F\x65 \xC2\xA0\xF0\x9F\x98\x80"),
              "Gr\xC3\xBC\xC3\x9F\x65 \xC2\xA0\xF0\x9F\x98\x80");
    EXPECT_EQ(printable(""), "");
}

TEST(Printable, EscapesEachByteOfAControlCharacter) {
    EXPECT_EQ(printable("\x1b[2J\x7f\r\x01"), "\\x1B[2J\\x7F\\x0D\\x01");
    EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(printable("a\xC2\x9B"
                        "31mb"),
              "a\\xC2\\x9B31mb");
    EXPECT_EQ(printable("\xC2\x80"), "\\xC2\\x80");
}

TEST(Printable, EscapesEachInvalidByte) {
    EXPECT_EQ(printable("\xff"), "\\xFF");
    EXPECT_EQ(printable("\x9b"
                        "31m"),
              "\\x9B31m");
    EXPECT_EQ(printable("\xE2\x82x\xC2"), "\\xE2\\x82x\\xC2");
}

TEST(Printable, KeepsTheNewlinesAndTabsOfALayout) {
    EXPECT_EQ(printable("a\tb\n"), "a\\x09b\\x0A");
    EXPECT_EQ(printable("a\tb\n\r", Layout::kept), "a\tb\n\\x0D");
}

}  // namespace
}  // namespace varnock
