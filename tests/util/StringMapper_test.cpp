#include "util/StringMapper.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(StringMapper, CopiesTextToTheOutput) {
    std::string out = "before";
    EXPECT_TRUE(CStringMapper::UTF8ToString(out,
                                            "L\xC3\xBC"
                                            "fter"));
    EXPECT_EQ(out,
              "L\xC3\xBC"
              "fter");
}

TEST(StringMapper, LeavesTheOutputAloneForAnEmptyText) {
    std::string out = "before";
    EXPECT_FALSE(CStringMapper::UTF8ToString(out, ""));
    EXPECT_EQ(out, "before");
}

TEST(StringMapper, LeavesTheOutputAloneForNull) {
    std::string out = "before";
    EXPECT_FALSE(CStringMapper::UTF8ToString(out, nullptr));
    EXPECT_EQ(out, "before");
}

TEST(StringMapper, ReturnsACopy) {
    EXPECT_EQ(CStringMapper::UTF8ToString("fan"), "fan");
    EXPECT_EQ(CStringMapper::StringToUTF8("fan"), "fan");
}

TEST(StringMapper, GivesTheEmptyStringForNull) {
    EXPECT_EQ(CStringMapper::UTF8ToString(nullptr), "");
    EXPECT_EQ(CStringMapper::StringToUTF8(nullptr), "");
}

TEST(StringMapper, PassesBytesThatAreNotUtf8Unchanged) {
    EXPECT_EQ(CStringMapper::UTF8ToString("\xFF\x80"), "\xFF\x80");
    EXPECT_EQ(CStringMapper::StringToUTF8("\xFF\x80"), "\xFF\x80");
}

TEST(StringMapper, CopiesTheOutputIntoItself) {
    std::string out = "a text that is long enough for the heap";
    EXPECT_TRUE(CStringMapper::UTF8ToString(out, out.c_str() + 2));
    EXPECT_EQ(out, "text that is long enough for the heap");
}

}  // namespace
