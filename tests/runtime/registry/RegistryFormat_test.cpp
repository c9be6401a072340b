#include "runtime/registry/RegistryFormat.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace varnock::registryformat {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> componentsOf(std::string_view path) {
    std::vector<std::string> components;
    while (!path.empty()) {
        components.emplace_back(takeComponent(path));
    }
    return components;
}

TEST(RegistryFormat, TakesPathsApartAtBackslashes) {
    EXPECT_THAT(componentsOf(""), IsEmpty());
    EXPECT_THAT(componentsOf("a"), ElementsAre("a"));
    EXPECT_THAT(componentsOf("a\\b\\c"), ElementsAre("a", "b", "c"));
}

TEST(RegistryFormat, TakesPathsApartAtSlashesOnceNoBackslashFollows) {
    EXPECT_THAT(componentsOf("a/b/c"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(componentsOf("a/b\\c/d"), ElementsAre("a/b", "c", "d"));
}

TEST(RegistryFormat, KeepsEmptyComponentsButTheLast) {
    EXPECT_THAT(componentsOf("\\a\\\\b\\"), ElementsAre("", "a", "", "b"));
}

TEST(RegistryFormat, LeavesRoomForTheBracketsOfAKey) {
    EXPECT_EQ(kLongestLine, 1023U);
    EXPECT_EQ(kLongestKeyName, 1021U);
}

}  // namespace
}  // namespace varnock::registryformat
