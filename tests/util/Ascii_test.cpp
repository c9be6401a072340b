#include "util/Ascii.h"

#include <gtest/gtest.h>

#include <string>

namespace varnock {
namespace {

std::string charactersThat(bool (*are)(char)) {
    std::string characters;
    for (int c = 0; c < 256; ++c) {
        if (are(static_cast<char>(c))) {
            characters += static_cast<char>(c);
        }
    }
    return characters;
}

TEST(Ascii, KnowsTheTenDigitsAlone) {
    EXPECT_EQ(charactersThat(isDigit), "0123456789");
}

TEST(Ascii, KnowsTheSixCharactersOfWhiteSpaceAlone) {
    EXPECT_EQ(charactersThat(isSpace), "\t\n\v\f\r ");
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
