#include "runtime/Event.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>

#include "tests/runtime/sync/EventSupport.h"
#include "tests/support/FakeClock.h"

namespace varnock::test {
namespace {

/// A waiter that is released, and then cancelled before it has run.
int pulseAndCancel(CEvent& event) {
    event.Pulse();
    pthread_cancel(pthread_self());
    pthread_testcancel();
    return 0;
}

TEST(Event, WaitsUntilTheDeadlineOnTheCalendarClock) {
    ScriptedClock clock([] { return ETIMEDOUT; });
    clock.setWallTime(100, 999'500'000);
    CEvent event(0, kAutomaticReset, nullptr);
    EXPECT_EQ(event.Wait(1501, 0), 102);
    ASSERT_EQ(clock.deadlines().size(), 1U);
    EXPECT_EQ(clock.deadlines()[0].tv_sec, 102);
    EXPECT_EQ(clock.deadlines()[0].tv_nsec, 500'500'000);
}

TEST(Event, TakesTheLongestTimeoutBelowInfinite) {
    ScriptedClock clock([] { return ETIMEDOUT; });
    clock.setWallTime(1, 0);
    CEvent event(0, kAutomaticReset, nullptr);
    EXPECT_EQ(event.Wait(0xFFFFFFFE, 0), 102);
    EXPECT_EQ(clock.deadlines()[0].tv_sec, 4'294'968);
    EXPECT_EQ(clock.deadlines()[0].tv_nsec, 294'000'000);
}

TEST(Event, WaitsOnWithTheSameDeadlineAfterAnInterruptionOrAWakeWithoutCause) {
    ScriptedClock clock([] { return EINTR; }, [] { return 0; }, [] { return ETIMEDOUT; });
    clock.setWallTime(10, 0);
    CEvent event(0, kManualReset, nullptr);
    EXPECT_EQ(event.Wait(500, 0), 102);
    ASSERT_EQ(clock.deadlines().size(), 3U);
    EXPECT_EQ(clock.deadlines()[2].tv_sec, clock.deadlines()[0].tv_sec);
    EXPECT_EQ(clock.deadlines()[2].tv_nsec, clock.deadlines()[0].tv_nsec);
}

TEST(Event, AnErrorOfTheWaitIsAFailure) {
    const ScriptedClock clock([] { return EINVAL; });
    CEvent event(0, kManualReset, nullptr);
    EXPECT_EQ(event.Wait(500, 0), -1);
    EXPECT_EQ(event.Create(1, kManualReset, nullptr, nullptr), 1) << "no waiter may be left";
}

TEST(Event, AnEventThatIsSignalledWhenTheTimeRunsOutReleases) {
    for (const int error : {ETIMEDOUT, EINVAL}) {
        TracedEvent event(0, kAutomaticReset);
        const ScriptedClock clock([&] {
            EXPECT_EQ(event->Set(), 1);
            return error;
        });
        EXPECT_EQ(event->Wait(500, 0), 0);
        EXPECT_EQ(event->IfSet(), 0);
    }
}

TEST(Event, TimesOutWhenTheTimeHasPassed) {
    FakeClock clock;
    TracedEvent event(0, kAutomaticReset);
    Waiter waiter(event.event(), 5000);
    event.awaitWaiters(1);
    clock.advance(std::chrono::milliseconds(4999));
    letOthersRun();
    EXPECT_FALSE(waiter.done());
    clock.advance(std::chrono::milliseconds(1));
    EXPECT_EQ(waiter.result(), 102);
}

TEST(Event, ACancelledWaiterLeavesTheEventConsistent) {
    for (const unsigned int timeoutMs : {kInfinite, 100'000U}) {
        TracedEvent event(0, kAutomaticReset);
        Waiter waiter(event.event(), timeoutMs);
        event.awaitWaiters(1);
        EXPECT_TRUE(waiter.cancel());
        EXPECT_EQ(event.waiters(), 0U);
        EXPECT_EQ(event->Set(), 1);
        EXPECT_EQ(event->Wait(0, 0), 0);
    }
}

TEST(Event, ThePulseOfACancelledWaiterIsNotForLaterOnes) {
    TracedEvent event(0, kAutomaticReset);
    const ScriptedClock clock([&] { return pulseAndCancel(event.event()); },
                              [] { return ETIMEDOUT; });
    Waiter waiter(event.event(), 1000);
    EXPECT_TRUE(waiter.wasCancelled());
    EXPECT_EQ(event->Wait(0, 0), 102);
}

TEST(Event, ThePulseOfACancelledWaiterDoesNotAddToLaterOnes) {
    TracedEvent event(0, kAutomaticReset);
    const ScriptedClock clock([&] { return pulseAndCancel(event.event()); });
    {
        Waiter cancelled(event.event(), 1000);
        EXPECT_TRUE(cancelled.wasCancelled());
    }
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    event->Pulse();
    event.awaitWaiters(1);
    event.wakeWithoutCause();
    letOthersRun();
    EXPECT_EQ(event.waiters(), 1U);
    event->Set();
    EXPECT_EQ(first.result() + second.result(), 0);
}

}  // namespace
}  // namespace varnock::test
