#include "agent/host/Sensor.h"

#include <gtest/gtest.h>

namespace varnock::agent {
namespace {

TEST(Sensor, ComparesAValueWithItsLimits) {
    const Limits limits{.leastBeforeFailure = 1, .least = 2, .most = 8, .mostBeforeFailure = 9};
    EXPECT_EQ(healthWithin(limits, 0.9), Health::failed);
    EXPECT_EQ(healthWithin(limits, 1), Health::warning);
    EXPECT_EQ(healthWithin(limits, 2), Health::ok);
    EXPECT_EQ(healthWithin(limits, 8), Health::ok);
    EXPECT_EQ(healthWithin(limits, 8.1), Health::warning);
    EXPECT_EQ(healthWithin(limits, 9), Health::failed);
}

TEST(Sensor, HasNoStateWithoutAValueOrLimits) {
    EXPECT_EQ(healthWithin({}, 5), std::nullopt);
    EXPECT_EQ(
        healthWithin({.leastBeforeFailure = {}, .least = 2, .most = {}, .mostBeforeFailure = {}},
                     std::nullopt),
        std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
