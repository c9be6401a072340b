#include "cli/Options.h"

#include <gtest/gtest.h>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

TEST(Options, ReadsDecimalAndHexadecimalNumbers) {
    EXPECT_EQ(parseNumber("0", "--object"), 0U);
    EXPECT_EQ(parseNumber("010", "--object"), 10U);
    EXPECT_EQ(parseNumber("0x1A", "--object"), 26U);
    EXPECT_EQ(parseNumber("0XFFFFFFFF", "--object"), 0xFFFFFFFFU);
    EXPECT_EQ(parseNumber("255", "--byte", 255), 255U);
}

TEST(Options, RefusesNumbersOutOfRange) {
    for (const char* text : {"", "0x", "-1", "+1", " 1", "1 ", "1a", "0x1G", "4294967296", "1e3"}) {
        EXPECT_THROW(parseNumber(text, "--object"), Failure) << text;
    }
    EXPECT_THROW(parseNumber("256", "--byte", 255), Failure);
}

}  // namespace
}  // namespace varnockctl
