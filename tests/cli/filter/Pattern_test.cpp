#include "cli/filter/Pattern.h"

#include <gtest/gtest.h>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

TEST(Pattern, MatchesAPartOfATextWithAnyBytes) {
    const Pattern pattern("^a.c$", "--grep");
    EXPECT_TRUE(pattern.matches("abc"));
    EXPECT_FALSE(pattern.matches("abcd"));
    EXPECT_TRUE(Pattern("c", "--grep").matches(std::string_view("a\0c", 3)));
}

TEST(Pattern, AnInvalidOneIsAMistakeOfTheUser) {
    try {
        static_cast<void>(Pattern("(", "--grep"));
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::usage);
        EXPECT_EQ(std::string(failure.what()).find("--grep: \"(\": "), 0U);
    }
}

}  // namespace
}  // namespace varnockctl
