#include "cli/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace varnockctl {
namespace {

using testing::HasSubstr;

class ParsedCommandLine : public testing::Test {
  protected:
    std::optional<varnock::Explanation> parse(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), "varnockctl");
        const auto count = static_cast<int>(arguments.size());
        arguments.push_back(nullptr);
        return parseCommandLine(count, arguments.data(), line_);
    }

    CommandLine line_;
};

TEST_F(ParsedCommandLine, HoldsTheCommandAndItsArguments) {
    EXPECT_FALSE(
        parse({"call", "getNumberFans", "--cabinet", "3", "-o", "json", "--timeout", "2.5"}));
    EXPECT_TRUE(line_.command);
    EXPECT_EQ(line_.name, "getNumberFans");
    EXPECT_EQ(line_.arguments.cabinet, "3");
    EXPECT_EQ(line_.options.format, Format::json);
    EXPECT_EQ(line_.timeout, 2.5);
    EXPECT_FALSE(line_.isEndless);
}

TEST_F(ParsedCommandLine, SaysWhichCommandsHaveNoEnd) {
    EXPECT_FALSE(parse({"watch"}));
    EXPECT_TRUE(line_.isEndless);
    EXPECT_TRUE(line_.keepsToTime);
}

TEST_F(ParsedCommandLine, ExplainsHelpAndVersion) {
    for (const char* option : {"--help", "--version"}) {
        const auto explanation = parse({option});
        ASSERT_TRUE(explanation) << option;
        EXPECT_FALSE(explanation->isMistake);
        EXPECT_THAT(explanation->text, HasSubstr("varnockctl"));
        EXPECT_FALSE(line_.command);
    }
}

TEST_F(ParsedCommandLine, ExplainsAMistake) {
    for (const auto& arguments : std::vector<std::vector<const char*>>{
             {}, {"nothing"}, {"call"}, {"list", "--timeout", "-1"}, {"raw", "1", "--byte"}}) {
        const auto explanation = parse(arguments);
        ASSERT_TRUE(explanation);
        EXPECT_TRUE(explanation->isMistake);
        EXPECT_NE(explanation->text, "");
    }
}

TEST(Milliseconds, AreAtLeastAsLong) {
    EXPECT_EQ(milliseconds(0.0001).count(), 1);
    EXPECT_EQ(milliseconds(2.5).count(), 2500);
    EXPECT_EQ(milliseconds(1e300).count(), 1'000'000'000'000);
}

}  // namespace
}  // namespace varnockctl
