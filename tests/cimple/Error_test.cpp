#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using cimple::Error;

TEST(Error, KeepsAFormattedText) {
    EXPECT_STREQ(Error::get(), "");
    Error::set("no fan %u in %s", 7U, "cabinet");
    EXPECT_STREQ(Error::get(), "no fan 7 in cabinet");
    Error::clear();
    EXPECT_STREQ(Error::get(), "");
}

TEST(Error, MacroSets) {
    CIMPLE_ERROR(("code %d", 12));
    EXPECT_STREQ(Error::get(), "code 12");
}

TEST(Error, CutsLongText) {
    Error::set("%2000s", "x");
    EXPECT_EQ(std::strlen(Error::get()), 1023U);
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
