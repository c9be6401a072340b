#include "tools/NearestName.h"

#include <gtest/gtest.h>

namespace varnock {
namespace {

const std::vector<std::string> kNames{"systemMessageLog", "driverMonitorLog", "fan"};

TEST(NearestName, ForgivesMistypedCharacters) {
    EXPECT_EQ(nearestName("systemMesageLog", kNames), "systemMessageLog");
    EXPECT_EQ(nearestName("SYSTEMMESSAGELOG", kNames), "systemMessageLog");
    EXPECT_EQ(nearestName("driverMonitorLogs", kNames), "driverMonitorLog");
    EXPECT_EQ(nearestName("fna", kNames), "") << "two of three characters";
    EXPECT_EQ(nearestName("fans", kNames), "fan");
}

TEST(NearestName, SuggestsNothingFarAway) {
    EXPECT_EQ(nearestName("", kNames), "");
    EXPECT_EQ(nearestName("dance", kNames), "");
    EXPECT_EQ(nearestName("fan", {}), "");
    EXPECT_EQ(nearestName(std::string(1'000'000, 'f'), kNames), "");
}

TEST(NearestNames, AreTheNearestOnesFirst) {
    const std::vector<std::string> names{"list", "trace", "watch", "raw"};
    EXPECT_EQ(nearestNames("trac", names, 2), (std::vector<std::string>{"trace", "raw"}));
    EXPECT_EQ(nearestNames("lisst", names, 1), (std::vector<std::string>{"list"}));
    EXPECT_EQ(nearestNames(std::string(10'000, 'x'), names, 9).size(), 4U);
    EXPECT_TRUE(nearestNames("x", {}, 3).empty());
}

TEST(NearestNames, StandInASentence) {
    EXPECT_EQ(alternatives({}), "");
    EXPECT_EQ(alternatives({"a"}), "a");
    EXPECT_EQ(alternatives({"a", "b", "c"}), "a, b and c");
}

}  // namespace
}  // namespace varnock
