#include "tools/Hexadecimal.h"

#include <gtest/gtest.h>

namespace varnock {
namespace {

using namespace std::string_literals;

TEST(Hexadecimal, HasTwoDigitsForEachByte) {
    EXPECT_EQ(hexadecimalDigits("\x00\xFF\x1A"s), "00ff1a");
    EXPECT_EQ(bytesOfDigits("00ff1A"), "\x00\xFF\x1A"s);
    EXPECT_EQ(hexadecimalDigits(""), "");
    EXPECT_EQ(bytesOfDigits(""), "");
}

TEST(Hexadecimal, RefusesOtherTexts) {
    EXPECT_EQ(bytesOfDigits("0"), std::nullopt);
    EXPECT_EQ(bytesOfDigits("0g"), std::nullopt);
    EXPECT_EQ(bytesOfDigits("g0"), std::nullopt);
}

}  // namespace
}  // namespace varnock
