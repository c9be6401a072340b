#include "agent/host/Topology.h"

#include <gtest/gtest.h>

namespace varnock::agent {
namespace {

TEST(Topology, DescribesATwoSocketMachine) {
    Topology topology(
        "pack:2 l3:1(size=16777216) core:4 l2:1(size=1048576) l1d:1(size=49152) pu:2");
    EXPECT_EQ(topology.package(0), 0U);
    EXPECT_EQ(topology.package(15), 1U);
    EXPECT_EQ(topology.packages(), 2U);
    EXPECT_EQ(topology.packagesBefore(0), 0U);
    EXPECT_EQ(topology.packagesBefore(15), 1U);
    EXPECT_EQ(topology.coresInPackage(15), 4U);
    EXPECT_EQ(topology.threadsInPackage(3), 8U);
    EXPECT_EQ(topology.onlineThreadsInPackage(3), 8U);
    EXPECT_EQ(topology.threadsInCore(3), 2U);
    EXPECT_EQ(topology.cacheSize(7, 1), 48U);
    EXPECT_EQ(topology.cacheSize(7, 2), 1024U);
    EXPECT_EQ(topology.cacheSize(7, 3), 16384U);
}

TEST(Topology, HasNoDataOfMissingProcessors) {
    Topology topology("pack:1 core:2 pu:1");
    EXPECT_EQ(topology.package(2), std::nullopt);
    EXPECT_EQ(topology.packagesBefore(2), std::nullopt);
    EXPECT_EQ(topology.coresInPackage(2), std::nullopt);
    EXPECT_EQ(topology.threadsInPackage(2), std::nullopt);
    EXPECT_EQ(topology.onlineThreadsInPackage(2), std::nullopt);
    EXPECT_EQ(topology.threadsInCore(2), std::nullopt);
    for (const unsigned level : {0U, 1U, 5U, 6U, 0xFFFFFFFFU}) {
        EXPECT_EQ(topology.cacheSize(0, level), std::nullopt);
    }
    EXPECT_EQ(topology.packageInfo(0, "CPUVendor"), std::nullopt);
    EXPECT_EQ(topology.packageInfo(9, "CPUVendor"), std::nullopt);
}

TEST(Topology, ACacheIsAvailableIfItsSizeFitsTheAnswer) {
    // In KiB: 2^32 - 1, and 2^32.
    EXPECT_EQ(Topology("pack:1 l3:1(size=4398046510080) pu:1").cacheSize(0, 3), 0xFFFFFFFFU);
    EXPECT_EQ(Topology("pack:1 l3:1(size=4398046511104) pu:1").cacheSize(0, 3), std::nullopt);
}

TEST(Topology, HasNothingWhenItCannotBeLoaded) {
    Topology topology("nonsense");
    EXPECT_EQ(topology.packages(), 0U);
    EXPECT_EQ(topology.packagesBefore(0), std::nullopt);
    EXPECT_EQ(topology.package(0), std::nullopt);
    EXPECT_EQ(topology.cacheSize(0, 1), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
