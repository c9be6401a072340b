#include "catalogue/ModelPath.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnock::test {
namespace {

using catalogue::modelPath;
using catalogue::Selector;
using testing::ElementsAre;

TEST(ModelPath, SplitsStepsAndSelectors) {
    const auto path = modelPath("cabinets[number=cabinet].fans[object].speed");
    ASSERT_EQ(path.steps.size(), 3U);
    EXPECT_EQ(path.steps[0].member, "cabinets");
    EXPECT_EQ(path.steps[0].key, "number");
    EXPECT_EQ(path.steps[0].selector, Selector::cabinet);
    EXPECT_EQ(path.steps[1].key, "");
    EXPECT_EQ(path.steps[1].selector, Selector::object);
    EXPECT_EQ(path.steps[2].member, "speed");
    EXPECT_EQ(path.steps[2].selector, Selector::none);
    EXPECT_FALSE(path.counts);
}

TEST(ModelPath, KnowsEverySelector) {
    const auto selector = [](const char* text) {
        return modelPath("list[" + std::string(text) + "]").steps[0];
    };
    EXPECT_EQ(selector("ext").selector, Selector::ext);
    EXPECT_EQ(selector("class=class").selector, Selector::elementClass);
    EXPECT_EQ(selector("name=name").selector, Selector::name);
    EXPECT_EQ(selector("12").selector, Selector::literal);
    EXPECT_EQ(selector("12").literal, 12U);
    EXPECT_EQ(selector("1..").selector, Selector::from);
    EXPECT_EQ(selector("1..").literal, 1U);
    EXPECT_EQ(selector("name=Fan 1").selector, Selector::text);
}

TEST(ModelPath, EndsWithACount) {
    const auto path = modelPath("fans.count");
    EXPECT_TRUE(path.counts);
    EXPECT_EQ(path.steps.size(), 1U);
}

TEST(ModelPath, TakesAnyTextToItsEnd) {
    for (const char* text : {"", ".", "[", "]", "a[", "a]", "..a", "a[[b]]", "a[=]", ".count"}) {
        EXPECT_LE(modelPath(text).steps.size(), 4U) << text;
    }
}

TEST(ModelPath, SplitsTheCellsOfASequence) {
    EXPECT_THAT(catalogue::partsOf("a / b / c"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(catalogue::partsOf("a"), ElementsAre("a"));
}

}  // namespace
}  // namespace varnock::test
