#include "util/Ascii.h"

#include <ctype.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "tests/support/ForeignLocale.h"

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

TEST(Ascii, ConvertsNumbersBehindItsOwnWhiteSpaceInAnyLocale) {
    const test::ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    ASSERT_TRUE(locale.use());
    ASSERT_NE(isspace(static_cast<unsigned char>(test::ForeignLocale::kWhiteSpace)), 0);
    char* end = nullptr;
    const char* number = " \t-12.5";
    EXPECT_EQ(toNumber(strtol, number, &end, 10), -12);
    EXPECT_STREQ(end, ".5");
    for (const char* none : {"\xA0"
                             "5",
                             " \xA0"
                             "5",
                             "", " ", "x"}) {
        EXPECT_EQ(toNumber(strtol, none, &end, 10), 0);
        EXPECT_EQ(end, none);
        EXPECT_EQ(toNumber(strtoul, none, nullptr, 0), 0UL);
    }
}

}  // namespace
}  // namespace varnock
