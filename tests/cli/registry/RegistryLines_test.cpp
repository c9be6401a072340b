#include "cli/registry/RegistryLines.h"

#include <gtest/gtest.h>

#include <string>

namespace varnockctl {
namespace {

using Kind = RegistryLine::Kind;

TEST(RegistryLines, HaveTheKindsThatTheReaderSees) {
    EXPECT_EQ(registryLineAt("\n", 0).kind, Kind::end);
    EXPECT_EQ(registryLineAt(std::string_view("\0x\n", 3), 0).kind, Kind::end);
    EXPECT_EQ(registryLineAt("[a]b]c", 0).name, "a]b");
    EXPECT_EQ(registryLineAt("[a", 0).kind, Kind::other);
    EXPECT_EQ(registryLineAt("# x=1", 0).kind, Kind::other);
    const RegistryLine value = registryLineAt("n=es=a=b\nrest", 0);
    EXPECT_EQ(value.kind, Kind::value);
    EXPECT_EQ(value.name, "n");
    EXPECT_EQ(value.marker, "=es=");
    EXPECT_EQ(value.data, "a=b");
    EXPECT_EQ(value.next, 9U);
}

TEST(RegistryLines, AreReadUpToTheLongestLength) {
    const std::string line = "[" + std::string(1022, 'x') + "]\n";
    EXPECT_EQ(registryLineAt(line, 0).kind, Kind::other);
    EXPECT_EQ(registryLineAt(line, 0).read.size(), 1023U);
    EXPECT_EQ(registryLineAt(line, 0).next, line.size());
}

TEST(RegistryLines, WithoutANumberAreSkipped) {
    EXPECT_TRUE(registryLineAt("a=d=-5x", 0).isRead());
    EXPECT_FALSE(registryLineAt("a=d=x", 0).isRead());
    EXPECT_TRUE(registryLineAt("a=b=zz", 0).isRead());
    EXPECT_FALSE(registryLineAt("comment", 0).isRead());
}

}  // namespace
}  // namespace varnockctl
