#include "cli/Options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

Format formatOf(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "varnockctl");
    arguments.push_back(nullptr);
    return formatIn(static_cast<int>(arguments.size()) - 1, arguments.data());
}

TEST(Options, FindsTheFormatBeforeTheArgumentsAreParsed) {
    for (const auto& [name, format] : kFormats) {
        const std::string joined = std::string("-o") + name;
        const std::string whole = std::string("--output=") + name;
        EXPECT_EQ(formatOf({"list", "-o", name}), format);
        EXPECT_EQ(formatOf({"--output", name, "list"}), format);
        EXPECT_EQ(formatOf({joined.c_str()}), format);
        EXPECT_EQ(formatOf({whole.c_str(), "x"}), format);
        EXPECT_EQ(formatOf({"-v", "-vo", name}), format);
    }
    EXPECT_EQ(formatOf({}), Format::table);
    EXPECT_EQ(formatOf({"-o"}), Format::table);
    EXPECT_EQ(formatOf({"-o", "yaml"}), Format::table);
    EXPECT_EQ(formatOf({"--", "-o", "json"}), Format::table);
    EXPECT_EQ(formatOf({"--outputs", "json"}), Format::table);
    EXPECT_EQ(formatOf({"-", "json", "o", "json", "-no", "json"}), Format::table);
}

}  // namespace
}  // namespace varnockctl
