#include "runtime/trace/Digits.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <string>

namespace varnock {
namespace {

std::string inMemory(EightCharacters characters) {
    char text[sizeof characters];
    memcpy(text, &characters, sizeof characters);
    return std::string(text, sizeof text);
}

template <typename Number>
std::string printed(const char* format, Number number) {
    char text[32];
    snprintf(text, sizeof text, format, number);
    return text;
}

TEST(Digits, AreThoseOfPrintf) {
    for (std::uint64_t value = 0; value < 100'000'000; value = value * 9 / 8 + 1) {
        const auto number = static_cast<std::uint32_t>(value);
        ASSERT_EQ(inMemory(eightDigits(number)), printed("%08u", number));
    }
    EXPECT_EQ(inMemory(eightDigits(99'999'999)), "99999999");
}

TEST(Digits, AreTheLastEightOfALongNumber) {
    EXPECT_EQ(inMemory(eightDigits(100'000'000)), "00000000");
    EXPECT_EQ(inMemory(eightDigits(4'294'967'295)), "94967295");
}

TEST(Digits, AreThoseOfPrintfInHexadecimal) {
    for (std::uint64_t value = 0; value < std::uint64_t{1} << 32; value = value * 9 / 8 + 1) {
        const auto number = static_cast<std::uint32_t>(value);
        ASSERT_EQ(inMemory(eightHexDigits(number, 'a')), printed("%08x", number));
        ASSERT_EQ(inMemory(eightHexDigits(number, 'A')), printed("%08X", number));
    }
    EXPECT_EQ(inMemory(eightHexDigits(0x0123'4567, 'a')), "01234567");
    EXPECT_EQ(inMemory(eightHexDigits(0x89AB'CDEF, 'a')), "89abcdef");
    EXPECT_EQ(inMemory(eightHexDigits(0xFFFF'FFFF, 'A')), "FFFFFFFF");
}

}  // namespace
}  // namespace varnock
