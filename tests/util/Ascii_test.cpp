#include "util/Ascii.h"

#include <gtest/gtest.h>

#include <string>

namespace varnock {
namespace {

std::string charactersThatAreDigits() {
    std::string digits;
    for (int c = 0; c < 256; ++c) {
        if (isDigit(static_cast<char>(c))) {
            digits += static_cast<char>(c);
        }
    }
    return digits;
}

TEST(Ascii, KnowsTheTenDigitsAlone) {
    EXPECT_EQ(charactersThatAreDigits(), "0123456789");
}

TEST(Ascii, GivesTheCapitalsOfAToZAlone) {
    for (int i = 0; i < 256; ++i) {
        const auto c = static_cast<char>(i);
        const bool isSmall = std::string("abcdefghijklmnopqrstuvwxyz").find(c) != std::string::npos;
        EXPECT_EQ(upperCase(c), isSmall ? static_cast<char>(c - 32) : c) << i;
    }
}

}  // namespace
}  // namespace varnock
