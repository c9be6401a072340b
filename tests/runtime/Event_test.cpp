#include "runtime/Event.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Clock.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/FakeClock.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/SleepingThread.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre;
using varnock::test::FailingAllocation;
using varnock::test::FailingCall;
using varnock::test::FakeClock;
using varnock::test::isAsleep;
using varnock::test::PlatformCall;
using varnock::test::PosixThread;
using varnock::test::TraceCapture;
using Record = CEvent::sysEvent_t;

constexpr unsigned int infinite = 0xFFFFFFFF;
constexpr int automaticReset = 0;
constexpr int manualReset = 1;

/// Makes an event and learns its record from the trace.
class TracedEvent {
  public:
    TracedEvent(int initialState, int manual, const char* name = nullptr) {
        const TraceCapture trace;
        event_ = std::make_unique<CEvent>(initialState, manual, name);
        const std::string text = trace.text();
        const std::size_t at = text.find("event ");
        void* address = nullptr;
        if (at == std::string::npos || std::sscanf(text.c_str() + at, "event %p", &address) != 1) {
            ADD_FAILURE() << "no record in: " << text;
        }
        record_ = static_cast<Record*>(address);
    }

    CEvent& event() { return *event_; }
    CEvent* operator->() { return event_.get(); }
    Record* record() const { return record_; }
    /// The record as trace texts show it.
    std::string address() const {
        char text[32];
        std::snprintf(text, sizeof text, "%p", static_cast<void*>(record_));
        return text;
    }
    std::string named(const std::string& name) const { return address() + " <" + name + ">"; }

    unsigned int waiters() const {
        pthread_mutex_lock(&record_->mutex);
        const unsigned int count = record_->waiters;
        pthread_mutex_unlock(&record_->mutex);
        return count;
    }
    /// What Pulse() leaves behind until the waiters that are there have run, without waking any.
    void grantOne() const {
        pthread_mutex_lock(&record_->mutex);
        record_->grants = 1;
        record_->granted = record_->arrivals;
        pthread_mutex_unlock(&record_->mutex);
    }
    void awaitWaiters(unsigned int count) const {
        while (waiters() != count) sched_yield();
    }
    /// Destroys the object.
    void end() { event_ = nullptr; }
    CEvent* take() { return event_.release(); }

  private:
    std::unique_ptr<CEvent> event_;
    Record* record_ = nullptr;
};

/// A thread inside Wait(), and what it returned.
class Waiter {
  public:
    explicit Waiter(CEvent& event, unsigned int timeoutMs = infinite)
        : thread_([this, &event, timeoutMs] {
              result_ = event.Wait(timeoutMs, 0);
              done_ = true;
          }) {}

    bool done() const { return done_; }
    int result() {
        thread_.join();
        return result_;
    }
    /// Cancels the thread; true if it was still in Wait().
    bool cancel() {
        thread_.cancel();
        return thread_.join();
    }

  private:
    std::atomic<bool> done_ = false;
    int result_ = -99;
    PosixThread thread_;
};

void letOthersRun() {
    for (int turn = 0; turn < 200; ++turn) sched_yield();
}

/// A clock whose timed waits do what the test says; the calendar stands still.
class ScriptedClock : public varnock::Clock {
  public:
    explicit ScriptedClock(std::function<int()> wait) : wait_(std::move(wait)) {
        previous_ = Clock::replace(this);
    }
    ~ScriptedClock() override { Clock::replace(previous_); }

    void setWallTime(time_t seconds, long nanoseconds) {
        now_.tv_sec = seconds;
        now_.tv_nsec = nanoseconds;
    }
    const std::vector<timespec>& deadlines() const { return deadlines_; }

    void sleepFor(std::chrono::milliseconds) override {}
    int poll(pollfd*, nfds_t, int) override { return 0; }
    int waitUntil(pthread_cond_t*, pthread_mutex_t*, const timespec& deadline) override {
        deadlines_.push_back(deadline);
        return wait_();
    }
    std::chrono::nanoseconds monotonicTime() override { return {}; }
    timespec wallTime() override { return now_; }

  private:
    std::function<int()> wait_;
    timespec now_{};
    std::vector<timespec> deadlines_;
    Clock* previous_ = nullptr;
};

TEST(Event, AutomaticEventReleasesExactlyOneWait) {
    CEvent event(0, automaticReset, nullptr);
    EXPECT_EQ(event.Set(), 1);
    EXPECT_EQ(event.Wait(0, 0), 0);
    EXPECT_EQ(event.Wait(0, 0), 102);
}

TEST(Event, SettingAnAutomaticEventTwiceReleasesOneWait) {
    CEvent event(0, automaticReset, nullptr);
    event.Set();
    event.Set();
    EXPECT_EQ(event.Wait(0, 0), 0);
    EXPECT_EQ(event.Wait(0, 0), 102);
}

TEST(Event, ManualEventStaysSignalledUntilReset) {
    CEvent event(0, manualReset, nullptr);
    EXPECT_EQ(event.Set(), 1);
    EXPECT_EQ(event.Wait(0, 0), 0);
    EXPECT_EQ(event.Wait(infinite, 0), 0);
    EXPECT_EQ(event.IfSet(), 1);
    EXPECT_EQ(event.Reset(), 1);
    EXPECT_EQ(event.IfSet(), 0);
    EXPECT_EQ(event.Wait(0, 0), 102);
}

TEST(Event, BeginsInTheGivenState) {
    CEvent set(7, manualReset, nullptr);
    EXPECT_EQ(set.IfSet(), 1) << "the state is 0 or 1, whatever the argument";
    EXPECT_EQ(set.Wait(0, 0), 0);
    CEvent cleared(0, manualReset, nullptr);
    EXPECT_EQ(cleared.IfSet(), 0);
    EXPECT_EQ(cleared.Wait(0, 0), 102);
}

TEST(Event, AskingForTheStateDoesNotChangeIt) {
    CEvent event(1, automaticReset, nullptr);
    EXPECT_EQ(event.IfSet(), 1);
    EXPECT_EQ(event.IfSet(), 1);
    EXPECT_EQ(event.Wait(0, 0), 0);
    EXPECT_EQ(event.IfSet(), 0);
}

TEST(Event, SetReleasesEveryWaiterOfAManualEvent) {
    TracedEvent event(0, manualReset);
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
    TracedEvent event(0, automaticReset);
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
    for (const int manual : {automaticReset, manualReset}) {
        CEvent event(0, manual, nullptr);
        EXPECT_EQ(event.Pulse(), 1);
        EXPECT_EQ(event.IfSet(), 0);
        EXPECT_EQ(event.Wait(0, 0), 102);
    }
}

TEST(Event, PulseEndsTheSignalledState) {
    for (const int manual : {automaticReset, manualReset}) {
        CEvent event(1, manual, nullptr);
        event.Pulse();
        EXPECT_EQ(event.Wait(0, 0), 102);
    }
}

TEST(Event, PulseReleasesTheWaitersOfAManualEvent) {
    TracedEvent event(0, manualReset);
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
    TracedEvent event(0, automaticReset);
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
    for (const int manual : {automaticReset, manualReset}) {
        TracedEvent event(0, manual);
        Waiter first(event.event());
        event.awaitWaiters(1);
        event.grantOne();
        EXPECT_EQ(event->Wait(0, 0), 102);
        pthread_cond_broadcast(&event.record()->condition);
        EXPECT_EQ(first.result(), 0);
        EXPECT_EQ(event->IfSet(), 0);
    }
}

TEST(Event, PulsesInARowReleaseAsManyWaiters) {
    TracedEvent event(0, automaticReset);
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    event->Pulse();
    event->Pulse();
    event->Pulse();  // nobody is left for this one
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
    EXPECT_EQ(event->Wait(0, 0), 102);
}

TEST(Event, ResetDoesNotTakeBackWhatSetHasReleased) {
    for (const int manual : {automaticReset, manualReset}) {
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
    TracedEvent event(0, automaticReset);
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
    TracedEvent event(0, automaticReset);
    Waiter first(event.event());
    Waiter second(event.event(), 100'000);
    event.awaitWaiters(2);
    pthread_cond_broadcast(&event.record()->condition);
    letOthersRun();
    EXPECT_EQ(event.waiters(), 2U);
    event->Set();
    event.awaitWaiters(1);
    event->Set();
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
}

TEST(Event, WaitsUntilTheDeadlineOnTheCalendarClock) {
    ScriptedClock clock([] { return ETIMEDOUT; });
    clock.setWallTime(100, 999'500'000);
    CEvent event(0, automaticReset, nullptr);
    EXPECT_EQ(event.Wait(1501, 0), 102);
    ASSERT_EQ(clock.deadlines().size(), 1U);
    EXPECT_EQ(clock.deadlines()[0].tv_sec, 102);
    EXPECT_EQ(clock.deadlines()[0].tv_nsec, 500'500'000);
}

TEST(Event, TakesTheLongestTimeoutBelowInfinite) {
    ScriptedClock clock([] { return ETIMEDOUT; });
    clock.setWallTime(1, 0);
    CEvent event(0, automaticReset, nullptr);
    EXPECT_EQ(event.Wait(0xFFFFFFFE, 0), 102);
    EXPECT_EQ(clock.deadlines()[0].tv_sec, 4'294'968);
    EXPECT_EQ(clock.deadlines()[0].tv_nsec, 294'000'000);
}

TEST(Event, WaitsOnWithTheSameDeadlineAfterAnInterruptionOrAWakeWithoutCause) {
    std::vector<int> results{EINTR, 0, ETIMEDOUT};
    std::size_t next = 0;
    ScriptedClock clock([&] { return results[next++]; });
    clock.setWallTime(10, 0);
    CEvent event(0, manualReset, nullptr);
    EXPECT_EQ(event.Wait(500, 0), 102);
    ASSERT_EQ(clock.deadlines().size(), 3U);
    EXPECT_EQ(clock.deadlines()[2].tv_sec, clock.deadlines()[0].tv_sec);
    EXPECT_EQ(clock.deadlines()[2].tv_nsec, clock.deadlines()[0].tv_nsec);
}

TEST(Event, AnErrorOfTheWaitIsAFailure) {
    ScriptedClock clock([] { return EINVAL; });
    CEvent event(0, manualReset, nullptr);
    EXPECT_EQ(event.Wait(500, 0), -1);
    EXPECT_EQ(event.Create(1, manualReset, nullptr, nullptr), 1) << "no waiter may be left";
}

TEST(Event, AnEventThatIsSignalledWhenTheTimeRunsOutReleases) {
    for (const int error : {ETIMEDOUT, EINVAL}) {
        TracedEvent event(0, automaticReset);
        ScriptedClock clock([&] {
            event.record()->signalled = 1;
            return error;
        });
        EXPECT_EQ(event->Wait(500, 0), 0);
        EXPECT_EQ(event->IfSet(), 0);
    }
}

TEST(Event, TimesOutWhenTheTimeHasPassed) {
    FakeClock clock;
    TracedEvent event(0, automaticReset);
    Waiter waiter(event.event(), 5000);
    event.awaitWaiters(1);
    clock.advance(std::chrono::milliseconds(4999));
    letOthersRun();
    EXPECT_FALSE(waiter.done());
    clock.advance(std::chrono::milliseconds(1));
    EXPECT_EQ(waiter.result(), 102);
}

TEST(Event, CloseReleasesTheWaitersOfAManualEventAndEndsTheObject) {
    TracedEvent event(0, manualReset);
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
    EXPECT_EQ(event->Wait(infinite, 0), -1);
}

TEST(Event, CloseReleasesOneWaiterOfAnAutomaticEvent) {
    TracedEvent event(0, automaticReset, "close-automatic");
    CEvent other(0, automaticReset, "close-automatic");
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

TEST(Event, OtherObjectsGoOnWhenOneIsClosed) {
    CEvent one(0, automaticReset, "closed-by-one");
    CEvent other(0, automaticReset, "closed-by-one");
    one.Close();
    EXPECT_EQ(other.Wait(0, 0), 0) << "closing signals the event";
    EXPECT_EQ(other.Set(), 1);
    EXPECT_EQ(other.Wait(0, 0), 0);
}

TEST(Event, ObjectsOfOneNameShareOneState) {
    CEvent one(0, automaticReset, "shared");
    CEvent other(1, automaticReset, "shared");
    EXPECT_EQ(other.IfSet(), 0) << "the state of the existing event stays";
    one.Set();
    EXPECT_EQ(other.Wait(0, 0), 0);
    EXPECT_EQ(one.Wait(0, 0), 102);
}

TEST(Event, NamesDifferByCaseAndTheEmptyNameIsAName) {
    CEvent lower(1, manualReset, "case");
    CEvent upper(0, manualReset, "CASE");
    EXPECT_EQ(upper.IfSet(), 0);
    CEvent empty(1, manualReset, "");
    CEvent sameEmpty(0, manualReset, "");
    EXPECT_EQ(sameEmpty.IfSet(), 1);
}

TEST(Event, UnnamedEventsAreApart) {
    CEvent one(1, manualReset, nullptr);
    CEvent other(0, manualReset, nullptr);
    EXPECT_EQ(other.IfSet(), 0);
}

TEST(Event, DestroyingOneObjectLeavesTheOtherWorking) {
    auto one = std::make_unique<CEvent>(0, manualReset, "survivor");
    CEvent other(0, manualReset, "survivor");
    one = nullptr;
    EXPECT_EQ(other.Set(), 1);
    CEvent late(0, manualReset, "survivor");
    EXPECT_EQ(late.IfSet(), 1);
}

TEST(Event, TheNameEndsWithTheLastObject) {
    { CEvent event(1, manualReset, "short-lived"); }
    EXPECT_EQ(CEvent::CreateRef("short-lived"), nullptr);
    CEvent again(0, automaticReset, "short-lived");
    EXPECT_EQ(again.IfSet(), 0);
}

TEST(Event, CreateRefRefersToTheNamedEvent) {
    TracedEvent event(0, manualReset, "referred");
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
    TracedEvent event(1, automaticReset);
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
    CEvent event(0, manualReset, nullptr);
    event.Close();
    CEvent copy(event);
    EXPECT_EQ(copy.IfSet(), 1);
}

TEST(Event, AssignmentRefersToTheOtherRecordAndOpens) {
    TracedEvent source(1, manualReset, "assigned");
    TracedEvent target(0, automaticReset, "replaced");
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
    // The reference to the record before is not given back: a third object takes it over.
    CEvent(target.record()).IfSet();
}

TEST(Event, TheRecordBeforeAnAssignmentLivesOnUnderItsName) {
    CEvent source(0, manualReset, nullptr);
    TracedEvent target(1, manualReset, "left-behind");
    target.event() = source;
    std::unique_ptr<CEvent> found(CEvent::CreateRef("left-behind"));
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->IfSet(), 1);
    CEvent takesTheReferenceOver(target.record());
}

TEST(Event, AssignmentToItselfDoesNothing) {
    TracedEvent event(1, manualReset);
    event->Close();
    const TraceCapture trace;
    CEvent& alias = event.event();
    event.event() = alias;
    EXPECT_EQ(trace.text(), "");
    EXPECT_EQ(event->IfSet(), 0) << "still closed";
}

TEST(Event, AssignmentFromAnEventWithoutRecordLeavesNone) {
    CEvent none(static_cast<Record*>(nullptr));
    TracedEvent event(1, manualReset, "lost");
    event.event() = none;
    EXPECT_EQ(event->IfSet(), 0);
    EXPECT_EQ(event->Wait(0, 0), -1);
    CEvent takesTheReferenceOver(event.record());
}

TEST(Event, CreateChangesStateAndKind) {
    TracedEvent event(0, automaticReset, "changing");
    const TraceCapture trace;
    EXPECT_EQ(event->Create(1, manualReset, nullptr, nullptr), 1);
    EXPECT_THAT(trace.messages(), ElementsAre("Create event " + event.named("changing") +
                                              ", changing attributes (IsSignaled=0,IsManual=0) --> "
                                              "(IsSignaled=1,IsManual=1)"));
    EXPECT_EQ(event->Wait(0, 0), 0);
    EXPECT_EQ(event->Wait(0, 0), 0);
}

TEST(Event, CreateWithoutAChangeTracesNothing) {
    TracedEvent event(1, manualReset);
    const TraceCapture trace;
    EXPECT_EQ(event->Create(2, 3, nullptr, nullptr), 1);
    EXPECT_EQ(trace.text(), "");
}

TEST(Event, CreateFailsWhileAThreadWaits) {
    TracedEvent event(0, automaticReset);
    Waiter waiter(event.event());
    event.awaitWaiters(1);
    EXPECT_EQ(event->Create(0, automaticReset, nullptr, nullptr), 0);
    event->Set();
    EXPECT_EQ(waiter.result(), 0);
    EXPECT_EQ(event->Create(0, automaticReset, nullptr, nullptr), 1);
}

TEST(Event, TracesItsLife) {
    const TraceCapture trace;
    TracedEvent event(0, manualReset, "traced");
    {
        CEvent second(0, manualReset, "traced");
        second.Set();
        second.IfSet();
        second.Pulse();
        second.Reset();
        second.Close();
    }
    event.end();
    const std::string named = event.named("traced");
    EXPECT_THAT(trace.messages(),
                ElementsAre("refCount for event " + named + " incremented (IsSignaled=0)",
                            "Set event " + named + " IsSignaled=0 --> IsSignaled=1",
                            "Check event " + named + " (IsSignaled=1)",
                            "Pulse event " + named + " IsSignaled=1 --> IsSignaled=0",
                            "Reset event " + named + ": IsSignaled=0 --> IsSignaled=0",
                            "Close event " + named + " IsSignaled=0 --> IsSignaled=1",
                            "decr refcount on event " + named + " (IsSignaled=1)",
                            "deleting event " + named + " (IsSignaled=1)"));
}

TEST(Event, TracesTheConstructionOfAnUnnamedEvent) {
    const TraceCapture trace;
    const CEvent event(1, manualReset, nullptr);
    EXPECT_TRUE(trace.contains("creating event 0x")) << trace.text();
    EXPECT_TRUE(trace.contains("<anon> (IsSignaled=1)")) << trace.text();
}

TEST(Event, TracesAtItsLevels) {
    TraceCapture trace(4);
    TracedEvent event(0, manualReset, "levels");
    event->Set();
    EXPECT_EQ(trace.text(), "");
    const CEvent second(0, manualReset, "levels");
    EXPECT_EQ(trace.count("refCount for event"), 1U);
    trace.setLevel(2);
    const CEvent third(0, manualReset, "levels");
    EXPECT_EQ(trace.count("refCount for event"), 1U);
}

TEST(Event, TracesEveryOperationAtLevelFive) {
    const auto use = [] {
        CEvent event(0, manualReset, "levels-of-all");
        CEvent copy(event);
        const std::unique_ptr<CEvent> reference(CEvent::CreateRef("levels-of-all"));
        EXPECT_EQ(CEvent::CreateRef("nobody"), nullptr);
        event.Create(1, automaticReset, nullptr, nullptr);
        event.Set();
        event.IfSet();
        event.Pulse();
        event.Reset();
        event.Close();
    };
    {
        const TraceCapture trace(4);
        use();
        EXPECT_EQ(trace.text(), "");
    }
    const TraceCapture trace(5);
    use();
    // "decr" twice: the copy and the reference go before the event.
    const std::pair<const char*, std::size_t> texts[] = {{"creating event", 1},
                                                         {"incr refcount on event", 1},
                                                         {"refering (count=3)", 1},
                                                         {"NOT FOUND", 1},
                                                         {"changing attributes", 1},
                                                         {"Set event", 1},
                                                         {"Check event", 1},
                                                         {"Pulse event", 1},
                                                         {"Reset event", 1},
                                                         {"Close event", 1},
                                                         {"decr refcount on event", 2},
                                                         {"deleting event", 1}};
    for (const auto& [text, count] : texts) EXPECT_EQ(trace.count(text), count) << text;
}

TEST(Event, WarnsOfAnotherKindOfResetAndKeepsTheFirst) {
    TracedEvent event(1, manualReset, "mismatch");
    const TraceCapture trace(0);
    CEvent second(1, automaticReset, "mismatch");
    EXPECT_THAT(trace.messages(), ElementsAre("WARNING: manual setting mismatch for event " +
                                              event.named("mismatch")));
    EXPECT_EQ(second.Wait(0, 0), 0);
    EXPECT_EQ(second.Wait(0, 0), 0);
}

TEST(Event, ShowsTheStateAsManualWhateverTheNumber) {
    TracedEvent event(1, 5, "any-number");
    const TraceCapture trace(0);
    CEvent second(1, 9, "any-number");
    EXPECT_EQ(trace.text(), "");
}

void expectNoRecord(CEvent& event) {
    EXPECT_EQ(event.Set(), 0);
    EXPECT_EQ(event.Pulse(), 0);
    EXPECT_EQ(event.Reset(), 0);
    EXPECT_EQ(event.IfSet(), 0);
    EXPECT_EQ(event.Close(), 0);
    EXPECT_EQ(event.Create(1, 1, nullptr, nullptr), 0);
    EXPECT_EQ(event.Wait(0, 0), -1);
    CEvent copy(event);
    EXPECT_EQ(copy.Set(), 0);
}

TEST(Event, WithoutRecordEveryOperationFails) {
    CEvent event(static_cast<Record*>(nullptr));
    expectNoRecord(event);
}

TEST(Event, LackOfMemoryLeavesNoRecordAndNoName) {
    const TraceCapture trace(0);
    std::size_t failures = 0;
    for (std::size_t n = 1;; ++n) {
        std::optional<FailingAllocation> failure(n);
        CEvent event(0, manualReset, "no-memory");
        const bool happened = failure->happened();
        failure.reset();
        if (!happened) {
            EXPECT_EQ(event.Set(), 1);
            break;
        }
        ++failures;
        expectNoRecord(event);
        EXPECT_EQ(CEvent::CreateRef("no-memory"), nullptr);
    }
    EXPECT_GE(failures, 3U) << "record, name and map";
    EXPECT_EQ(trace.count("WARNING: cannot create new Event: NO MEMORY AVAILABLE"), failures);
    EXPECT_EQ(trace.messages().size(), failures);
}

TEST(Event, CreateRefWithoutMemoryGivesNullAndCountsNothing) {
    TracedEvent event(0, manualReset, "no-reference");
    const TraceCapture trace;
    {
        const FailingAllocation failure(1);
        EXPECT_EQ(CEvent::CreateRef("no-reference"), nullptr);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_TRUE(trace.contains("NO MEMORY AVAILABLE"));
    std::unique_ptr<CEvent> reference(CEvent::CreateRef("no-reference"));
    EXPECT_TRUE(trace.contains("refering (count=2)")) << trace.text();
}

TEST(Event, AFailedConditionIsTracedAndLeavesNoRecord) {
    for (const unsigned int n : {1U, 2U}) {
        const TraceCapture trace(3);
        const FailingCall failure(PlatformCall::CondInit, EAGAIN, n);
        CEvent event(1, manualReset, "no-condition");
        EXPECT_TRUE(failure.happened());
        expectNoRecord(event);
        ASSERT_EQ(trace.messages().size(), 1U) << trace.text();
        EXPECT_TRUE(
            trace.contains("pthread_cond_init(), CLOCK_REALTIME: ## ERROR ##: failed "
                           "(ret=11) on event 0x"));
        EXPECT_TRUE(trace.contains("(IsSignaled=1)"));
        EXPECT_EQ(CEvent::CreateRef("no-condition"), nullptr);
    }
}

TEST(Event, AFailedMutexIsTracedAndLeavesNoRecord) {
    const TraceCapture trace(3);
    const FailingCall failure(PlatformCall::MutexInit, ENOMEM);
    CEvent event(0, manualReset, nullptr);
    EXPECT_TRUE(failure.happened());
    expectNoRecord(event);
    EXPECT_TRUE(
        trace.contains("pthread_mutex_init(), CLOCK_REALTIME: ## ERROR ##: failed "
                       "(ret=12) on event 0x"))
        << trace.text();
    EXPECT_TRUE(trace.contains("<anon> (IsSignaled=0)"));
}

TEST(Event, AFailedConstructionIsTracedAtLevelThree) {
    for (const PlatformCall call : {PlatformCall::CondInit, PlatformCall::MutexInit}) {
        const TraceCapture trace(2);
        const FailingCall failure(call, EAGAIN);
        CEvent event(0, manualReset, nullptr);
        EXPECT_TRUE(failure.happened());
        EXPECT_EQ(trace.text(), "");
    }
}

TEST(Event, AFailedConstructionReleasesTheLockOfTheNames) {
    {
        const FailingCall failure(PlatformCall::CondInit, EAGAIN);
        CEvent event(0, manualReset, "lock-left");
    }
    PosixThread([] { CEvent event(0, manualReset, "lock-left"); }).join();
}

TEST(Event, AWaitWithoutTheMutexFailsAndIsNotCounted) {
    TracedEvent event(0, manualReset);
    {
        const FailingCall failure(PlatformCall::MutexLock, EINVAL);
        EXPECT_EQ(event->Wait(infinite, 0), -1);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(event.waiters(), 0U);
}

TEST(Event, AnOperationWithoutTheMutexDoesNotUnlockIt) {
    TracedEvent event(0, manualReset);
    pthread_mutex_lock(&event.record()->mutex);
    {
        const FailingCall failure(PlatformCall::MutexLock, EINVAL);
        EXPECT_EQ(event->Set(), 1);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(pthread_mutex_trylock(&event.record()->mutex), EBUSY);
    pthread_mutex_unlock(&event.record()->mutex);
    EXPECT_EQ(event->IfSet(), 1);
}

/// Destroys an event in a thread of its own.
class Destroyer {
  public:
    explicit Destroyer(CEvent* event)
        : thread_([this, event] {
              delete event;
              done_ = true;
          }) {}

    bool done() const { return done_; }
    void join() { thread_.join(); }

  private:
    std::atomic<bool> done_ = false;
    PosixThread thread_;
};

void release(Record& record) {
    pthread_mutex_lock(&record.mutex);
    record.signalled = 1;
    pthread_cond_broadcast(&record.condition);
    pthread_mutex_unlock(&record.mutex);
}

TEST(Event, DestructionWaitsForTheWaitersAndEndsWithTheLastOne) {
    FakeClock clock;
    TracedEvent event(0, manualReset, "drained");
    Record& record = *event.record();
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    Destroyer destroyer(event.take());
    letOthersRun();
    EXPECT_FALSE(destroyer.done());
    release(record);
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
    destroyer.join();
    EXPECT_EQ(clock.elapsed().count(), 0) << "nobody waited for the second to pass";
}

/// A clock on which no second ever passes.
class StoppedClock : public ScriptedClock {
  public:
    StoppedClock() : ScriptedClock([] { return 0; }) {}
    int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec&) override {
        return pthread_cond_wait(condition, mutex);
    }
};

TEST(Event, TheLastWaiterToLeaveWakesTheDestructor) {
    const StoppedClock clock;
    TracedEvent event(0, manualReset);
    Record& record = *event.record();
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    Destroyer destroyer(event.take());
    letOthersRun();
    release(record);
    destroyer.join();
}

TEST(Event, DestructionPollsOnceASecond) {
    TracedEvent event(0, manualReset);
    Record& record = *event.record();
    record.waiters = 1;
    int polls = 0;
    ScriptedClock clock([&] {
        if (++polls == 3) record.waiters = 0;
        return ETIMEDOUT;
    });
    clock.setWallTime(50, 7);
    event.end();
    ASSERT_EQ(clock.deadlines().size(), 3U);
    EXPECT_EQ(clock.deadlines()[0].tv_sec, 51);
    EXPECT_EQ(clock.deadlines()[0].tv_nsec, 7);
}

TEST(Event, TheNameIsFreeWhileTheLastObjectWaitsForItsWaiters) {
    FakeClock clock;
    TracedEvent event(0, manualReset, "leaving");
    Record& record = *event.record();
    Waiter waiter(event.event());
    event.awaitWaiters(1);
    Destroyer destroyer(event.take());
    // Asked without a reference, which would keep the event.
    const auto nameIsTaken = [] {
        const CriticalSectionGuard lock(CEvent::Spinlock);
        return CEvent::NamedEventMap.lookup("leaving", nullptr) != nullptr;
    };
    while (nameIsTaken()) sched_yield();
    CEvent again(1, manualReset, "leaving");
    EXPECT_EQ(again.IfSet(), 1);
    EXPECT_FALSE(waiter.done());
    release(record);
    EXPECT_EQ(waiter.result(), 0);
}

TEST(Event, ACancelledWaiterLeavesTheEventConsistent) {
    for (const unsigned int timeoutMs : {infinite, 100'000U}) {
        TracedEvent event(0, automaticReset);
        Waiter waiter(event.event(), timeoutMs);
        event.awaitWaiters(1);
        EXPECT_TRUE(waiter.cancel());
        EXPECT_EQ(event.waiters(), 0U);
        EXPECT_EQ(event->Set(), 1);
        EXPECT_EQ(event->Wait(0, 0), 0);
    }
}

TEST(Event, ThePulseOfACancelledWaiterIsNotForLaterOnes) {
    TracedEvent event(0, automaticReset);
    Waiter waiter(event.event());
    event.awaitWaiters(1);
    // Granted, but cancelled before it can leave.
    event.record()->grants = 1;
    EXPECT_TRUE(waiter.cancel());
    EXPECT_EQ(event->Wait(0, 0), 102);
}

TEST(Event, ThePulseOfACancelledWaiterDoesNotAddToLaterOnes) {
    TracedEvent event(0, automaticReset);
    {
        Waiter cancelled(event.event());
        event.awaitWaiters(1);
        event.grantOne();
        EXPECT_TRUE(cancelled.cancel());
    }
    Waiter first(event.event());
    Waiter second(event.event());
    event.awaitWaiters(2);
    event->Pulse();
    event.awaitWaiters(1);
    pthread_cond_broadcast(&event.record()->condition);
    letOthersRun();
    EXPECT_EQ(event.waiters(), 1U);
    event->Set();
    EXPECT_EQ(first.result() + second.result(), 0);
}

TEST(Event, AnEventMayBeDestroyedAfterItsWaiterWasCancelled) {
    TracedEvent event(0, manualReset);
    Waiter waiter(event.event());
    event.awaitWaiters(1);
    waiter.cancel();
    event.end();
}

TEST(Event, ACancelledThreadFinishesItsDestructors) {
    FakeClock clock;
    TracedEvent event(0, manualReset);
    Record& record = *event.record();
    Waiter waiter(event.event());
    event.awaitWaiters(1);
    std::atomic<bool> begun = false;
    std::atomic<bool> destroyed = false;
    CEvent* const last = event.take();
    PosixThread destroyer([&] {
        begun = true;
        delete last;
        destroyed = true;
        pthread_testcancel();
    });
    while (!begun) sched_yield();
    destroyer.cancel();
    letOthersRun();
    release(record);
    EXPECT_EQ(waiter.result(), 0);
    EXPECT_TRUE(destroyer.join());
    EXPECT_TRUE(destroyed);
}

TEST(Event, AReleasedThreadMayDestroyTheEvent) {
    for (int round = 0; round < 200; ++round) {
        auto* event = new CEvent(0, round % 2, nullptr);
        PosixThread waiter([event] {
            EXPECT_EQ(event->Wait(infinite, 0), 0);
            delete event;
        });
        event->Set();
    }
}

TEST(Event, ThreadsHandATurnToEachOther) {
    CEvent ping(0, automaticReset, nullptr);
    CEvent pong(0, automaticReset, nullptr);
    int turns = 0;
    PosixThread other([&] {
        for (int turn = 0; turn < 500; ++turn) {
            ping.Wait(infinite, 0);
            ++turns;
            pong.Set();
        }
    });
    for (int turn = 0; turn < 500; ++turn) {
        ping.Set();
        EXPECT_EQ(pong.Wait(infinite, 0), 0);
        EXPECT_EQ(turns, turn + 1);
    }
}

TEST(Event, NamesMayComeAndGoInManyThreads) {
    const auto work = [] {
        for (int round = 0; round < 200; ++round) {
            CEvent event(0, manualReset, "crowded");
            const std::unique_ptr<CEvent> reference(CEvent::CreateRef("crowded"));
            ASSERT_NE(reference, nullptr);
            CEvent copy(event);
            copy.Set();
            EXPECT_EQ(reference->Wait(infinite, 0), 0);
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
        // The thread that forks waits for this lock, or else for the child.
        while (forking == 0 || !isAsleep(forking)) sched_yield();
    });
    while (!held) sched_yield();
    forking = gettid();
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);  // rather than for ever, should the lock be taken
        CEvent event(1, automaticReset, "in-the-child");
        _exit(event.Wait(0, 0));
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    holder.join();
    CEvent event(1, automaticReset, "in-the-parent");
    EXPECT_EQ(event.Wait(0, 0), 0);
}

}  // namespace
