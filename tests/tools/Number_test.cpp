#include "tools/Number.h"

#include <gtest/gtest.h>

namespace varnock {
namespace {

TEST(Number, IsDecimalOrHexadecimal) {
    EXPECT_EQ(parseNumber("0"), 0U);
    EXPECT_EQ(parseNumber("010"), 10U);
    EXPECT_EQ(parseNumber("0x1A"), 26U);
    EXPECT_EQ(parseNumber("0XFFFFFFFF"), 0xFFFFFFFFU);
    EXPECT_EQ(parseNumber("4294967295"), 4294967295U);
}

TEST(Number, IsTheWholeText) {
    for (const char* text : {"", "0x", "-1", "+1", " 1", "1 ", "1.5", "12a", "0xg", "4294967296",
                             "0x100000000", "one"}) {
        EXPECT_EQ(parseNumber(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace varnock
