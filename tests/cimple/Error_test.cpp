#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using cimple::Error;

namespace cimple {

/// The macros use unqualified names, so code that uses them is in this namespace.
static void setTwelve() {
    CIMPLE_ERROR(("code %d", 12));
}

}  // namespace cimple

TEST(Error, KeepsAFormattedText) {
    EXPECT_STREQ(Error::get(), "");
    Error::set("no fan %u in %s", 7U, "cabinet");
    EXPECT_STREQ(Error::get(), "no fan 7 in cabinet");
    Error::clear();
    EXPECT_STREQ(Error::get(), "");
}

TEST(Error, MacroSets) {
    cimple::setTwelve();
    EXPECT_STREQ(Error::get(), "code 12");
}

TEST(Error, TakesAHundredAndTwentySevenCharacters) {
    Error::set("%127s", "x");
    EXPECT_EQ(std::strlen(Error::get()), 127U);
}

TEST(Error, MoreEndsADebugBuildAndIsCutElsewhere) {
    EXPECT_DEBUG_DEATH(Error::set("%128s", "x"), "a text of 128 characters");
    EXPECT_LE(std::strlen(Error::get()), 127U);
}

TEST(Error, BelongsToTheThread) {
    Error::set("mine");
    std::thread([] {
        EXPECT_STREQ(Error::get(), "");
        Error::set("other");
        EXPECT_STREQ(Error::get(), "other");
    }).join();
    EXPECT_STREQ(Error::get(), "mine");
}
