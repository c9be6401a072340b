#include "cli/metrics/OpenMetrics.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/ForeignLocale.h"

namespace varnockctl {
namespace {

std::string textOf(const std::string& label, double value) {
    const std::string text =
        openMetrics({{"varnock_x", "", "X.", {{{{"designation", label}}, value}}}});
    const std::size_t sample = text.find("\nvarnock_x") + 1;
    return text.substr(sample, text.rfind("# EOF") - sample);
}

TEST(OpenMetrics, WritesHelpTypeUnitSamplesAndTheEnd) {
    EXPECT_EQ(openMetrics({{"varnock_fan_speed_rpm",
                            "rpm",
                            "Speed of a fan.",
                            {{{{"cabinet", "0"}, {"object", "1"}}, 5400}, {{}, 0}}},
                           {"varnock_up", "", "Up.", {{{}, 1}}}}),
              "# HELP varnock_fan_speed_rpm Speed of a fan.\n"
              "# TYPE varnock_fan_speed_rpm gauge\n"
              "# UNIT varnock_fan_speed_rpm rpm\n"
              "varnock_fan_speed_rpm{cabinet=\"0\",object=\"1\"} 5400\n"
              "varnock_fan_speed_rpm 0\n"
              "# HELP varnock_up Up.\n"
              "# TYPE varnock_up gauge\n"
              "varnock_up 1\n"
              "# EOF\n");
}

TEST(OpenMetrics, LeavesOutFamiliesWithoutSamples) {
    EXPECT_EQ(openMetrics({{"varnock_x", "", "X.", {}}}), "# EOF\n");
    EXPECT_EQ(openMetrics({}), "# EOF\n");
}

TEST(OpenMetrics, EscapesLabelValues) {
    EXPECT_EQ(textOf("a\"b\\c\nd", 1), "varnock_x{designation=\"a\\\"b\\\\c\\nd\"} 1\n");
}

TEST(OpenMetrics, EscapesBytesThatAreNotUtf8) {
    EXPECT_EQ(textOf("L\xFC"
                     "fter",
                     1),
              "varnock_x{designation=\"L\\\\xFCfter\"} 1\n");
    EXPECT_EQ(textOf("L\xC3\xBC"
                     "fter",
                     1),
              "varnock_x{designation=\"L\xC3\xBC"
              "fter\"} 1\n");
}

TEST(OpenMetrics, KeepsHelpOnOneLineThatBothFormatsRead) {
    EXPECT_NE(openMetrics({{"varnock_x", "", "a \"b\"\n`c` \\", {{{}, 1}}}})
                  .find("# HELP varnock_x a 'b' 'c' \\\\\n"),
              std::string::npos);
}

TEST(OpenMetrics, WritesTheShortestNumberThatReadsBackTheSame) {
    EXPECT_EQ(textOf("", 12.1), "varnock_x{designation=\"\"} 12.1\n");
    EXPECT_EQ(textOf("", 17179869184.0), "varnock_x{designation=\"\"} 17179869184\n");
    EXPECT_EQ(textOf("", 1795327460), "varnock_x{designation=\"\"} 1795327460\n");
}

TEST(OpenMetrics, UsesAPointInEveryLocale) {
    const varnock::test::ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    ASSERT_TRUE(locale.use());
    EXPECT_EQ(textOf("", 0.5), "varnock_x{designation=\"\"} 0.5\n");
}

}  // namespace
}  // namespace varnockctl
