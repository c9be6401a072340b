#include "cli/Watchdog.h"

#include <gtest/gtest.h>

#include <future>

namespace varnockctl {
namespace {

TEST(Watchdog, CallsWhenTheTimeIsUp) {
    std::promise<void> expired;
    const Watchdog watchdog(std::chrono::milliseconds(0), [&] { expired.set_value(); });
    expired.get_future().wait();
}

TEST(Watchdog, StaysSilentWhenItIsNotNeededAnyMore) {
    bool expired = false;
    {
        const Watchdog watchdog(std::chrono::hours(1), [&] { expired = true; });
    }
    EXPECT_FALSE(expired);
}

}  // namespace
}  // namespace varnockctl
