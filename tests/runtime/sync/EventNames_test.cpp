#include "runtime/Event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <memory>

#include "tests/runtime/sync/EventSupport.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/SleepingThread.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

TEST(Event, OtherObjectsGoOnWhenOneIsClosed) {
    CEvent one(0, kAutomaticReset, "closed-by-one");
    CEvent other(0, kAutomaticReset, "closed-by-one");
    one.Close();
    EXPECT_EQ(other.Wait(0, 0), 0) << "closing signals the event";
    EXPECT_EQ(other.Set(), 1);
    EXPECT_EQ(other.Wait(0, 0), 0);
}

TEST(Event, ObjectsOfOneNameShareOneState) {
    CEvent one(0, kAutomaticReset, "shared");
    CEvent other(1, kAutomaticReset, "shared");
    EXPECT_EQ(other.IfSet(), 0) << "the state of the existing event stays";
    one.Set();
    EXPECT_EQ(other.Wait(0, 0), 0);
    EXPECT_EQ(one.Wait(0, 0), 102);
}

TEST(Event, NamesDifferByCaseAndTheEmptyNameIsAName) {
    CEvent lower(1, kManualReset, "case");
    CEvent upper(0, kManualReset, "CASE");
    EXPECT_EQ(upper.IfSet(), 0);
    CEvent empty(1, kManualReset, "");
    CEvent sameEmpty(0, kManualReset, "");
    EXPECT_EQ(sameEmpty.IfSet(), 1);
}

TEST(Event, UnnamedEventsAreApart) {
    CEvent one(1, kManualReset, nullptr);
    CEvent other(0, kManualReset, nullptr);
    EXPECT_EQ(other.IfSet(), 0);
}

TEST(Event, DestroyingOneObjectLeavesTheOtherWorking) {
    auto one = std::make_unique<CEvent>(0, kManualReset, "survivor");
    CEvent other(0, kManualReset, "survivor");
    one = nullptr;
    EXPECT_EQ(other.Set(), 1);
    CEvent late(0, kManualReset, "survivor");
    EXPECT_EQ(late.IfSet(), 1);
}

TEST(Event, TheNameEndsWithTheLastObject) {
    { CEvent event(1, kManualReset, "short-lived"); }
    EXPECT_EQ(CEvent::CreateRef("short-lived"), nullptr);
    CEvent again(0, kAutomaticReset, "short-lived");
    EXPECT_EQ(again.IfSet(), 0);
}

TEST(Event, CreateRefRefersToTheNamedEvent) {
    TracedEvent event(0, kManualReset, "referred");
    std::unique_ptr<CEvent> reference;
    {
        const TraceCapture trace;
        reference.reset(CEvent::CreateRef("referred"));
        EXPECT_THAT(trace.messages(), ElementsAre("refering (count=2) event " +
                                                  event.named("referred") + " (IsSignaled=0)"));
    }
    ASSERT_NE(reference, nullptr);
    reference->Set();
    EXPECT_EQ(event->IfSet(), 1);
    event.end();
    EXPECT_EQ(reference->IfSet(), 1);
}

TEST(Event, CreateRefOfAnUnknownNameGivesNull) {
    const TraceCapture trace;
    EXPECT_EQ(CEvent::CreateRef("nobody"), nullptr);
    EXPECT_EQ(CEvent::CreateRef(nullptr), nullptr);
    EXPECT_THAT(trace.messages(), ElementsAre("CreateRef: Event <nobody> NOT FOUND",
                                              "CreateRef: Event <anon> NOT FOUND"));
}

TEST(Event, ACopySharesTheRecord) {
    TracedEvent event(1, kAutomaticReset);
    const TraceCapture trace;
    {
        CEvent copy(event.event());
        EXPECT_EQ(copy.Wait(0, 0), 0);
        EXPECT_EQ(event->Wait(0, 0), 102);
    }
    EXPECT_THAT(
        trace.messages(),
        ElementsAre("incr refcount on event " + event.named("anon") + " (IsSignaled=1,IsManual=0)",
                    "decr refcount on event " + event.named("anon") + " (IsSignaled=0)"));
}

TEST(Event, ACopyOfAClosedEventIsOpen) {
    CEvent event(0, kManualReset, nullptr);
    event.Close();
    CEvent copy(event);
    EXPECT_EQ(copy.IfSet(), 1);
}

TEST(Event, AssignmentRefersToTheOtherRecordAndOpens) {
    TracedEvent source(1, kManualReset, "assigned");
    TracedEvent target(0, kAutomaticReset, "replaced");
    CEvent keeper(target.event());
    target->Close();
    {
        const TraceCapture trace;
        target.event() = source.event();
        EXPECT_THAT(trace.messages(),
                    ElementsAre("incr refcount on event " + source.named("assigned") +
                                " (IsSignaled=1,IsManual=1)"));
    }
    EXPECT_EQ(target->Wait(0, 0), 0);
    source->Reset();
    EXPECT_EQ(target->IfSet(), 0);
    // The reference to the old record is not given back: a third object takes it over.
    CEvent(target.record()).IfSet();
}

TEST(Event, TheRecordBeforeAnAssignmentLivesOnUnderItsName) {
    CEvent source(0, kManualReset, nullptr);
    TracedEvent target(1, kManualReset, "left-behind");
    target.event() = source;
    std::unique_ptr<CEvent> found(CEvent::CreateRef("left-behind"));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->IfSet(), 1);
    CEvent takesTheReferenceOver(target.record());
}

TEST(Event, AssignmentToItselfDoesNothing) {
    TracedEvent event(1, kManualReset);
    event->Close();
    const TraceCapture trace;
    CEvent& alias = event.event();
    event.event() = alias;
    EXPECT_EQ(trace.text(), "");
    EXPECT_EQ(event->IfSet(), 0) << "still closed";
}

TEST(Event, AssignmentFromAnEventWithoutRecordLeavesNone) {
    CEvent none(static_cast<TracedEvent::Record*>(nullptr));
    TracedEvent event(1, kManualReset, "lost");
    event.event() = none;
    EXPECT_EQ(event->IfSet(), 0);
    EXPECT_EQ(event->Wait(0, 0), -1);
    CEvent takesTheReferenceOver(event.record());
}

TEST(Event, NamesMayComeAndGoInManyThreads) {
    const auto work = [] {
        for (int round = 0; round < 200; ++round) {
            CEvent event(0, kManualReset, "crowded");
            const std::unique_ptr<CEvent> reference(CEvent::CreateRef("crowded"));
            ASSERT_NE(reference, nullptr);
            CEvent copy(event);
            copy.Set();
            EXPECT_EQ(reference->Wait(kInfinite, 0), 0);
        }
    };
    {
        PosixThread first(work);
        PosixThread second(work);
        PosixThread third(work);
    }
    EXPECT_EQ(CEvent::CreateRef("crowded"), nullptr);
}

TEST(Event, NamesMayBeUsedInAForkedChildWhoeverUsedThemAtTheFork) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    std::atomic<bool> held = false;
    std::atomic<pid_t> forking = 0;
    PosixThread holder([&] {
        const CriticalSectionGuard lock(CEvent::Spinlock);
        held = true;
        // The forking thread waits for this lock, or otherwise for the child.
        while (forking == 0 || !isAsleep(forking)) {
            sched_yield();
        }
    });
    while (!held) {
        sched_yield();
    }
    forking = gettid();
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);  // the limit of the wait if the lock is taken
        CEvent event(1, kAutomaticReset, "in-the-child");
        _exit(event.Wait(0, 0));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    holder.join();
    CEvent event(1, kAutomaticReset, "in-the-parent");
    EXPECT_EQ(event.Wait(0, 0), 0);
}

}  // namespace
}  // namespace varnock::test
