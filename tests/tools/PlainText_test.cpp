#include "tools/PlainText.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace varnock {
namespace {

std::size_t byteByByte(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && text[length] >= ' ' && text[length] <= '~' &&
           text[length] != '"' && text[length] != '\\') {
        ++length;
    }
    return length;
}

TEST(PlainText, EndsAtAnySpecialCharacterAtAnyPlace) {
    for (std::size_t length = 0; length < 40; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            for (int c = 0; c < 256; ++c) {
                std::string text(length, 'a');
                text[at] = static_cast<char>(c);
                ASSERT_EQ((plainLength<'"', '\\'>(text)), byteByByte(text)) << at << ' ' << c;
            }
        }
    }
}

TEST(PlainText, IsThatOfTheFirstOfSeveralSpecialCharacters) {
    std::mt19937 random(7);
    for (int i = 0; i < 20'000; ++i) {
        std::string text(random() % 50, ' ');
        for (char& c : text) {
            c = static_cast<char>(random() % 16 == 0 ? random() : ' ' + random() % 95);
        }
        ASSERT_EQ((plainLength<'"', '\\'>(text)), byteByByte(text)) << text;
    }
}

TEST(PlainText, HasNoSpecialCharactersUnlessTheyAreGiven) {
    EXPECT_EQ(plainLength("\"\\~ 12345678\x7F"), 12U);
    EXPECT_EQ(plainLength<'8'>("12345678"), 7U);
    EXPECT_EQ(plainLength(""), 0U);
}

}  // namespace
}  // namespace varnock
