#include "runtime/Event.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/runtime/sync/EventSupport.h"
#include "tests/support/PosixThread.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

TEST(Event, AutomaticEventReleasesExactlyOneWait) {
    CEvent event(0, kAutomaticReset, nullptr);
    EXPECT_EQ(event.Set(), 1);
    EXPECT_EQ(event.Wait(0, 0), 0);
    EXPECT_EQ(event.Wait(0, 0), 102);
}

TEST(Event, SettingAnAutomaticEventTwiceReleasesOneWait) {
    CEvent event(0, kAutomaticReset, nullptr);
    event.Set();
    event.Set();
    EXPECT_EQ(event.Wait(0, 0), 0);
    EXPECT_EQ(event.Wait(0, 0), 102);
}

TEST(Event, ManualEventStaysSignalledUntilReset) {
    CEvent event(0, kManualReset, nullptr);
    EXPECT_EQ(event.Set(), 1);
    EXPECT_EQ(event.Wait(0, 0), 0);
    EXPECT_EQ(event.Wait(kInfinite, 0), 0);
    EXPECT_EQ(event.IfSet(), 1);
    EXPECT_EQ(event.Reset(), 1);
    EXPECT_EQ(event.IfSet(), 0);
    EXPECT_EQ(event.Wait(0, 0), 102);
}

TEST(Event, BeginsInTheGivenState) {
    CEvent set(7, kManualReset, nullptr);
    EXPECT_EQ(set.IfSet(), 1) << "the state is 0 or 1, whatever the argument";
    EXPECT_EQ(set.Wait(0, 0), 0);
    CEvent cleared(0, kManualReset, nullptr);
    EXPECT_EQ(cleared.IfSet(), 0);
    EXPECT_EQ(cleared.Wait(0, 0), 102);
}

TEST(Event, AskingForTheStateDoesNotChangeIt) {
    CEvent event(1, kAutomaticReset, nullptr);
    EXPECT_EQ(event.IfSet(), 1);
    EXPECT_EQ(event.IfSet(), 1);
    EXPECT_EQ(event.Wait(0, 0), 0);
    EXPECT_EQ(event.IfSet(), 0);
}

TEST(Event, SetReleasesEveryWaiterOfAManualEvent) {
    TracedEvent event(0, kManualReset);
    Waiter first(event.event());
    Waiter second(event.event(), 100'000);
    Waiter third(event.event());
    event.awaitWaiters(3);
    event->Set();
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
    EXPECT_EQ(third.result(), 0);
    EXPECT_EQ(event->IfSet(), 1);
}

TEST(Event, SetReleasesOneWaiterOfAnAutomaticEvent) {
    TracedEvent event(0, kAutomaticReset);
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    event->Set();
    event.awaitWaiters(1);
    letOthersRun();
    EXPECT_EQ(event.waiters(), 1U);
    EXPECT_EQ(event->IfSet(), 0);
    event->Set();
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
}

TEST(Event, PulseWithoutWaiterHasNoLaterEffect) {
    for (const int manual : {kAutomaticReset, kManualReset}) {
        CEvent event(0, manual, nullptr);
        EXPECT_EQ(event.Pulse(), 1);
        EXPECT_EQ(event.IfSet(), 0);
        EXPECT_EQ(event.Wait(0, 0), 102);
    }
}

TEST(Event, PulseEndsTheSignalledState) {
    for (const int manual : {kAutomaticReset, kManualReset}) {
        CEvent event(1, manual, nullptr);
        event.Pulse();
        EXPECT_EQ(event.Wait(0, 0), 102);
    }
}

TEST(Event, PulseReleasesTheWaitersOfAManualEvent) {
    TracedEvent event(0, kManualReset);
    Waiter first(event.event());
    Waiter second(event.event(), 100'000);
    event.awaitWaiters(2);
    event->Pulse();
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
    EXPECT_EQ(event->IfSet(), 0);
    EXPECT_EQ(event->Wait(0, 0), 102);
}

TEST(Event, PulseReleasesOneWaiterOfAnAutomaticEvent) {
    TracedEvent event(0, kAutomaticReset);
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    event->Pulse();
    event.awaitWaiters(1);
    letOthersRun();
    EXPECT_EQ(event.waiters(), 1U);
    event->Pulse();
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
    EXPECT_EQ(event->Wait(0, 0), 102);
}

TEST(Event, AReleaseIsNotForWhoComesBeforeTheReleasedHaveRun) {
    for (const int manual : {kAutomaticReset, kManualReset}) {
        TracedEvent event(0, manual);
        const ScriptedClock clock(
            [&] {
                EXPECT_EQ(event->Pulse(), 1);
                EXPECT_EQ(event->Wait(0, 0), 102);
                return 0;
            },
            [] { return ETIMEDOUT; });
        EXPECT_EQ(event->Wait(1000, 0), 0);
        EXPECT_EQ(event->IfSet(), 0);
    }
}

TEST(Event, PulsesInARowReleaseAsManyWaiters) {
    TracedEvent event(0, kAutomaticReset);
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    event->Pulse();
    event->Pulse();
    event->Pulse();  // no waiter is left for this one
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
    EXPECT_EQ(event->Wait(0, 0), 102);
}

TEST(Event, ResetDoesNotTakeBackWhatSetHasReleased) {
    for (const int manual : {kAutomaticReset, kManualReset}) {
        TracedEvent event(0, manual);
        Waiter waiter(event.event());
        event.awaitWaiters(1);
        event->Set();
        event->Reset();
        EXPECT_EQ(waiter.result(), 0);
        EXPECT_EQ(event->Wait(0, 0), 102);
    }
}

TEST(Event, PulseAfterSetReleasesOneMoreWaiterOfAnAutomaticEvent) {
    TracedEvent event(0, kAutomaticReset);
    Waiter first(event.event());
    Waiter second(event.event());
    Waiter third(event.event());
    event.awaitWaiters(3);
    event->Set();
    event->Pulse();
    event.awaitWaiters(1);
    letOthersRun();
    EXPECT_EQ(event.waiters(), 1U);
    event->Set();
    EXPECT_EQ(first.result() + second.result() + third.result(), 0);
}

TEST(Event, WakingWithoutACauseReleasesNobody) {
    TracedEvent event(0, kAutomaticReset);
    Waiter first(event.event());
    Waiter second(event.event(), 100'000);
    event.awaitWaiters(2);
    event.wakeWithoutCause();
    letOthersRun();
    EXPECT_EQ(event.waiters(), 2U);
    event->Set();
    event.awaitWaiters(1);
    event->Set();
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
}

TEST(Event, CloseReleasesTheWaitersOfAManualEventAndEndsTheObject) {
    TracedEvent event(0, kManualReset);
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    EXPECT_EQ(event->Close(), 1);
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
    EXPECT_EQ(event->Set(), 0);
    EXPECT_EQ(event->Pulse(), 0);
    EXPECT_EQ(event->Reset(), 0);
    EXPECT_EQ(event->IfSet(), 0);
    EXPECT_EQ(event->Close(), 0);
    EXPECT_EQ(event->Create(0, 0, nullptr, nullptr), 0);
    EXPECT_EQ(event->Wait(0, 0), -1);
    EXPECT_EQ(event->Wait(kInfinite, 0), -1);
}

TEST(Event, CloseReleasesOneWaiterOfAnAutomaticEvent) {
    TracedEvent event(0, kAutomaticReset, "close-automatic");
    CEvent other(0, kAutomaticReset, "close-automatic");
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    event->Close();
    event.awaitWaiters(1);
    letOthersRun();
    EXPECT_EQ(event.waiters(), 1U);
    other.Set();
    EXPECT_EQ(first.result() + second.result(), 0);
}

TEST(Event, CreateChangesStateAndKind) {
    TracedEvent event(0, kAutomaticReset, "changing");
    const TraceCapture trace;
    EXPECT_EQ(event->Create(1, kManualReset, nullptr, nullptr), 1);
    EXPECT_THAT(trace.messages(), ElementsAre("Create event " + event.named("changing") +
                                              ", changing attributes (IsSignaled=0,IsManual=0) --> "
                                              "(IsSignaled=1,IsManual=1)"));
    EXPECT_EQ(event->Wait(0, 0), 0);
    EXPECT_EQ(event->Wait(0, 0), 0);
}

TEST(Event, CreateFailsWhileAThreadWaits) {
    TracedEvent event(0, kAutomaticReset);
    Waiter waiter(event.event());
    event.awaitWaiters(1);
    EXPECT_EQ(event->Create(0, kAutomaticReset, nullptr, nullptr), 0);
    event->Set();
    EXPECT_EQ(waiter.result(), 0);
    EXPECT_EQ(event->Create(0, kAutomaticReset, nullptr, nullptr), 1);
}

TEST(Event, ThreadsHandATurnToEachOther) {
    CEvent ping(0, kAutomaticReset, nullptr);
    CEvent pong(0, kAutomaticReset, nullptr);
    int turns = 0;
    PosixThread other([&] {
        for (int turn = 0; turn < 500; ++turn) {
            ping.Wait(kInfinite, 0);
            ++turns;
            pong.Set();
        }
    });
    for (int turn = 0; turn < 500; ++turn) {
        ping.Set();
        EXPECT_EQ(pong.Wait(kInfinite, 0), 0);
        EXPECT_EQ(turns, turn + 1);
    }
}

}  // namespace
}  // namespace varnock::test
