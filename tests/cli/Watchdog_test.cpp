#include "cli/Watchdog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

namespace varnockctl {
namespace {

TEST(Watchdog, CallsWhenTheTimeIsUp) {
    std::promise<std::thread::id> caller;
    int calls = 0;
    {
        const Watchdog watchdog(std::chrono::milliseconds(0), [&] {
            ++calls;
            caller.set_value(std::this_thread::get_id());
        });
        EXPECT_NE(caller.get_future().get(), std::this_thread::get_id());
    }
    EXPECT_EQ(calls, 1);
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
