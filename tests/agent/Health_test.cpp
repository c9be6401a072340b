#include "agent/Health.h"

#include <gtest/gtest.h>

#include "catalogue/Units.h"

namespace varnock::agent {
namespace {

TEST(Health, HasTheNamesOfTheCatalogue) {
    const auto& codes = catalogue::findVocabulary("health")->codes;
    ASSERT_EQ(codes.size(), kHealths);
    EXPECT_EQ(nameOf(Health::unknown), "unknown");
    EXPECT_EQ(nameOf(Health::ok), "ok");
    EXPECT_EQ(nameOf(Health::warning), "warning");
    EXPECT_EQ(nameOf(Health::failed), "failed");
    EXPECT_EQ(nameOf(Health::absent), "absent");
    for (const auto& code : codes) {
        EXPECT_EQ(healthNamed(code.name), static_cast<Health>(code.number));
    }
    EXPECT_EQ(healthNamed("broken"), std::nullopt);
}

TEST(Severity, HasTheNamesOfTheCatalogue) {
    const auto& codes = catalogue::findVocabulary("severity")->codes;
    ASSERT_EQ(codes.size(), 3U);
    EXPECT_EQ(nameOf(Severity::information), "information");
    EXPECT_EQ(nameOf(Severity::warning), "warning");
    EXPECT_EQ(nameOf(Severity::error), "error");
    for (const auto& code : codes) {
        EXPECT_EQ(severityNamed(code.name), static_cast<Severity>(code.number));
    }
    EXPECT_EQ(severityNamed("fatal"), std::nullopt);
}

TEST(Health, OfTwoIsTheWorse) {
    EXPECT_EQ(worse(Health::ok, Health::failed), Health::failed);
    EXPECT_EQ(worse(Health::warning, Health::ok), Health::warning);
    EXPECT_EQ(worse(Health::unknown, Health::ok), Health::ok);
    EXPECT_EQ(worse(Health::absent, Health::failed), Health::absent);
    EXPECT_EQ(worse(Health::failed, Health::absent), Health::failed);
    EXPECT_EQ(rankOf(Health::absent), rankOf(Health::failed));
}

TEST(Health, ThatIsMissingDoesNotCount) {
    EXPECT_EQ(worse(std::nullopt, Health::ok), Health::ok);
    EXPECT_EQ(worse(Health::warning, std::nullopt), Health::warning);
    EXPECT_EQ(worse(std::nullopt, std::nullopt), std::nullopt);
    EXPECT_EQ(worse(std::optional(Health::ok), Health::failed), Health::failed);
}

}  // namespace
}  // namespace varnock::agent
