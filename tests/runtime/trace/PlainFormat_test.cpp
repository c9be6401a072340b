#include "runtime/trace/PlainFormat.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <stdio.h>

#include <optional>
#include <string>

namespace varnock {
namespace {

struct Both {
    std::optional<std::string> ours;
    std::string printfs;
};

/// The result of formatPlain, and that of vsnprintf with the same arguments.
Both formatIn(std::size_t size, const char* format, ...) {
    std::string text(size + 4, '#');
    va_list arguments;
    va_start(arguments, format);
    const char* const end = formatPlain(text.data(), size, format, arguments);
    va_end(arguments);
    EXPECT_EQ(text.substr(size), "####");
    Both both;
    if (end != nullptr) {
        EXPECT_EQ(*end, '\0');
        both.ours = text.substr(0, static_cast<std::size_t>(end - text.data()));
    }
    va_start(arguments, format);
    std::string expected(size, '#');
    const int printed = vsnprintf(expected.data(), size, format, arguments);
    va_end(arguments);
    both.printfs =
        expected.substr(0, std::min(static_cast<std::size_t>(printed), std::size_t{size - 1}));
    return both;
}

template <typename... Arguments>
void expectSame(const char* format, Arguments... arguments) {
    for (const std::size_t size : {200U, 8U, 5U, 1U}) {
        const Both both = formatIn(size, format, arguments...);
        ASSERT_TRUE(both.ours) << format;
        EXPECT_EQ(*both.ours, both.printfs) << format << " in " << size;
    }
}

template <typename... Arguments>
void expectNone(const char* format, Arguments... arguments) {
    EXPECT_FALSE(formatIn(200, format, arguments...).ours) << format;
}

TEST(PlainFormat, WritesTextsAsPrintfDoes) {
    expectSame("");
    expectSame("plain text\n");
    expectSame("100%% of %s", "it");
    for (const char* format : {"[%s]", "[%10s]", "[%-10s]", "[%.2s]", "[%-10.3s]", "[%.0s]",
                               "[%.s]", "[%3s]", "[%.100s]"}) {
        for (const char* text : {"", "a", "abcdef", "a longer text than the room"}) {
            expectSame(format, text);
        }
    }
    expectSame("%s%s%s", "one", "two", "three");
}

TEST(PlainFormat, WritesNumbersAsPrintfDoes) {
    for (const std::string flags : {"", "8", "08", "-8", "-08", "0", "-", "2", "02", "0-8"}) {
        for (const char* type : {"d", "i", "u", "x", "X"}) {
            const std::string format = "[%" + flags + type + "]";
            for (const int value : {0, 1, -1, 42, 255, INT_MAX, INT_MIN}) {
                expectSame(format.c_str(), value);
            }
        }
        for (const char* type : {"ld", "lld", "zd", "lu", "llu", "zu", "lx", "llX", "zx"}) {
            const std::string format = "[%" + flags + type + "]";
            for (const long value : {0L, 1L, -1L, 4294967296L, LONG_MAX, LONG_MIN}) {
                expectSame(format.c_str(), value);
            }
        }
    }
}

TEST(PlainFormat, WritesCharactersAndPointersAsPrintfDoes) {
    expectSame("[%c][%3c][%-3c]", 'a', 'b', 'c');
    expectSame("[%c]", 0);
    expectSame("[%c]", 0xE4);
    int object = 0;
    expectSame("[%p][%20p][%-20p]", static_cast<void*>(&object), static_cast<void*>(&object),
               static_cast<void*>(&object));
}

TEST(PlainFormat, WritesManyArgumentsInTheirOrder) {
    expectSame("%s: %u %d %lx %s %c %zu %s %d %d %x", "name", 1U, -2, 3L, "four", '5',
               std::size_t{6}, "seven", 8, 9, 10U);
}

TEST(PlainFormat, TakesPlainCharactersForCapitalS) {
    EXPECT_EQ(formatIn(200, "[%S][%5.2S]", "abc", "def").ours, "[abc][   de]");
}

TEST(PlainFormat, LeavesTheRestToPrintf) {
    expectNone("%5.1f", 4.5);
    expectNone("%*d", 5, 1);
    expectNone("%.*s", 2, "abc");
    expectNone("%2$s %1$s", "a", "b");
    expectNone("%+d", 1);
    expectNone("% d", 1);
    expectNone("%#x", 1);
    expectNone("%'d", 1);
    expectNone("%.3d", 1);
    expectNone("%.3x", 1);
    expectNone("%hd", 1);
    expectNone("%hhx", 1);
    expectNone("%jd", 1L);
    expectNone("%o", 1);
    expectNone("%ls", L"wide");
    expectNone("%lc", L'w');
    expectNone("%100001d", 1);
    expectNone("%.100001s", "abc");
    expectNone("%.2c", 'a');
    expectNone("%.3p", static_cast<const void*>("abc"));
    expectNone("%lp", static_cast<const void*>("abc"));
    expectNone("%05s", "abc");
    expectNone("%05c", 'a');
    expectNone("%020p", static_cast<const void*>("abc"));
    expectNone("%p", static_cast<void*>(nullptr));
    expectNone("before %d %s", 1, static_cast<const char*>(nullptr));
}

TEST(PlainFormat, LeavesAFormatThatEndsInAConversionToPrintf) {
    char text[32];
    const auto format = [&](const char* unfinished, ...) {
        va_list arguments;
        va_start(arguments, unfinished);
        const bool done = formatPlain(text, sizeof text, unfinished, arguments) != nullptr;
        va_end(arguments);
        return done;
    };
    for (const char* unfinished : {"%", "%-", "%08", "%5.", "%l", "%ll", "%z"}) {
        EXPECT_FALSE(format(unfinished)) << unfinished;
    }
}

}  // namespace
}  // namespace varnock
