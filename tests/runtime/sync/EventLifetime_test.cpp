#include "runtime/Event.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <functional>
#include <optional>
#include <semaphore>

#include "tests/runtime/sync/EventSupport.h"
#include "tests/support/ForkedUse.h"
#include "tests/support/PosixThread.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

/// Keeps released waiters from running until the test lets them continue.
class Hold {
  public:
    /// The wait of such a waiter.
    std::function<int()> step() {
        return [this] {
            goOn_.acquire();
            return 0;
        };
    }
    void letOneGo() { goOn_.release(); }

  private:
    std::counting_semaphore<> goOn_{0};
};

TEST(Event, DestructionWaitsForTheWaitersAndEndsWithTheLastOne) {
    TracedEvent event(0, kManualReset, "drained");
    Hold hold;
    const auto letOneLeave = [&] {
        const unsigned int before = event.waiters();
        hold.letOneGo();
        event.awaitWaiters(before - 1);
        return ETIMEDOUT;
    };
    const ScriptedClock clock(hold.step(), hold.step(), letOneLeave, letOneLeave);
    Waiter first(event.event(), 1000);
    Waiter second(event.event(), 1000);
    event.awaitWaiters(2);
    event->Set();
    event.end();
    EXPECT_EQ(clock.deadlines().size(), 4U) << "the destructor has waited twice";
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
}

// The library keeps a list of its records for forked children. A record of the user is not in it.
TEST(Event, ARecordOfTheUserEndsWithoutHarmToTheOthers) {
    CEvent first(0, kManualReset, nullptr);
    const CEvent second(0, kManualReset, nullptr);
    auto* record = new CEvent::sysEvent_t{};
    ASSERT_EQ(pthread_mutex_init(&record->mutex, nullptr), 0);
    ASSERT_EQ(pthread_cond_init(&record->condition, nullptr), 0);
    ASSERT_EQ(pthread_cond_init(&record->drained, nullptr), 0);
    record->refCount = 1;
    record->manualReset = 1;
    {
        CEvent own(record);
        EXPECT_EQ(own.Set(), 1);
        EXPECT_EQ(own.IfSet(), 1);
    }
    EXPECT_TRUE(worksInChild([&] { return first.Set() == 1 && first.Wait(0, 0) == 0; }));
    EXPECT_EQ(first.IfSet(), 0);
}

TEST(Event, TheLastWaiterToLeaveWakesTheDestructor) {
    TracedEvent event(0, kManualReset);
    Hold hold;
    const auto waitForTheLastOne = [&] {
        TracedEvent::Record& record = *event.record();
        pthread_mutex_lock(&record.mutex);
        hold.letOneGo();
        hold.letOneGo();
        // Without a time limit, as if the second never ended.
        while (record.waiters != 0) {
            pthread_cond_wait(&record.drained, &record.mutex);
        }
        pthread_mutex_unlock(&record.mutex);
        return 0;
    };
    const ScriptedClock clock(hold.step(), hold.step(), waitForTheLastOne);
    Waiter first(event.event(), 1000);
    Waiter second(event.event(), 1000);
    event.awaitWaiters(2);
    event->Set();
    event.end();
    EXPECT_EQ(clock.deadlines().size(), 3U) << "the destructor has waited once";
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
}

TEST(Event, DestructionPollsOnceASecond) {
    TracedEvent event(0, kManualReset);
    Hold hold;
    std::optional<ScriptedClock> clock;
    const auto letASecondPass = [&] {
        clock->setWallTime(51, 7);
        return ETIMEDOUT;
    };
    const auto letItLeave = [&] {
        hold.letOneGo();
        event.awaitWaiters(0);
        return ETIMEDOUT;
    };
    clock.emplace(hold.step(), letASecondPass, letItLeave);
    clock->setWallTime(50, 7);
    Waiter waiter(event.event(), 1000);
    event.awaitWaiters(1);
    event->Set();
    event.end();
    ASSERT_EQ(clock->deadlines().size(), 3U);
    EXPECT_EQ(clock->deadlines()[1].tv_sec, 51);
    EXPECT_EQ(clock->deadlines()[1].tv_nsec, 7);
    EXPECT_EQ(clock->deadlines()[2].tv_sec, 52);
    EXPECT_EQ(clock->deadlines()[2].tv_nsec, 7);
    EXPECT_EQ(waiter.result(), 0);
}

TEST(Event, TheNameIsFreeWhileTheLastObjectWaitsForItsWaiters) {
    TracedEvent event(0, kAutomaticReset, "leaving");
    Hold hold;
    const auto useTheName = [&] {
        EXPECT_EQ(CEvent::CreateRef("leaving"), nullptr);
        CEvent again(1, kManualReset, "leaving");
        EXPECT_EQ(again.IfSet(), 1);
        EXPECT_EQ(event.waiters(), 1U);
        hold.letOneGo();
        event.awaitWaiters(0);
        return ETIMEDOUT;
    };
    const ScriptedClock clock(hold.step(), useTheName);
    Waiter waiter(event.event(), 1000);
    event.awaitWaiters(1);
    event->Set();
    event.end();
    EXPECT_EQ(clock.deadlines().size(), 2U) << "the destructor has waited";
    EXPECT_EQ(waiter.result(), 0);
}

TEST(Event, AnEventMayBeDestroyedAfterItsWaiterWasCancelled) {
    const ScriptedClock noWaits;
    TracedEvent event(0, kManualReset);
    Waiter waiter(event.event());
    event.awaitWaiters(1);
    EXPECT_TRUE(waiter.cancel());
    const TraceCapture trace;
    event.end();
    EXPECT_EQ(trace.count("deleting event"), 1U) << trace.text();
}

TEST(Event, ACancelledThreadFinishesItsDestructors) {
    TracedEvent event(0, kManualReset);
    Hold hold;
    const auto cancel = [&] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
        hold.letOneGo();
        event.awaitWaiters(0);
        return ETIMEDOUT;
    };
    const ScriptedClock clock(hold.step(), cancel);
    Waiter waiter(event.event(), 1000);
    event.awaitWaiters(1);
    event->Set();
    std::atomic<bool> destroyed = false;
    PosixThread destroyer([&] {
        event.end();
        destroyed = true;
        pthread_testcancel();
    });
    EXPECT_TRUE(destroyer.join());
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(waiter.result(), 0);
}

TEST(Event, AReleasedThreadMayDestroyTheEvent) {
    for (int round = 0; round < 200; ++round) {
        auto* event = new CEvent(0, round % 2, nullptr);
        PosixThread waiter([event] {
            EXPECT_EQ(event->Wait(kInfinite, 0), 0);
            delete event;
        });
        event->Set();
    }
}

}  // namespace
}  // namespace varnock::test
