#include "catalogue/Parameters.h"

#include <gtest/gtest.h>

namespace varnock::test {
namespace {

TEST(Parameters, ComeInTheirOrderWithTypeAndName) {
    catalogue::Row row{};
    row.arguments = "const KOLMKey& key, cimple::uint8 value";
    const auto parameters = catalogue::parametersOf(row);
    ASSERT_EQ(parameters.size(), 2U);
    EXPECT_EQ(parameters[0].type, "const KOLMKey&");
    EXPECT_EQ(parameters[0].name, "key");
    EXPECT_EQ(parameters[1].type, "cimple::uint8");
    EXPECT_EQ(parameters[1].name, "value");
    EXPECT_EQ(catalogue::parameterList(row), row.arguments);
}

TEST(Parameters, ATagHasNoName) {
    catalogue::Row row{};
    row.arguments = "UmDiffAlternate";
    const auto parameters = catalogue::parametersOf(row);
    ASSERT_EQ(parameters.size(), 1U);
    EXPECT_EQ(parameters[0].type, "UmDiffAlternate");
    EXPECT_EQ(parameters[0].name, "");
}

TEST(Parameters, NoneAreAnEmptyList) {
    catalogue::Row row{};
    row.arguments = "-";
    EXPECT_TRUE(catalogue::parametersOf(row).empty());
    EXPECT_EQ(catalogue::parameterList(row), "");
}

}  // namespace
}  // namespace varnock::test
