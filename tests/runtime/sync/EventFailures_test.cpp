#include "runtime/Event.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <memory>
#include <optional>

#include "tests/runtime/sync/EventSupport.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

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
    CEvent event(static_cast<TracedEvent::Record*>(nullptr));
    expectNoRecord(event);
}

TEST(Event, LackOfMemoryLeavesNoRecordAndNoName) {
    const TraceCapture trace(0);
    std::size_t failures = 0;
    for (std::size_t n = 1;; ++n) {
        std::optional<FailingAllocation> failure(n);
        CEvent event(0, kManualReset, "no-memory");
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
    TracedEvent event(0, kManualReset, "no-reference");
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
        CEvent event(1, kManualReset, "no-condition");
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
    CEvent event(0, kManualReset, nullptr);
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
        CEvent event(0, kManualReset, nullptr);
        EXPECT_TRUE(failure.happened());
        EXPECT_EQ(trace.text(), "");
    }
}

TEST(Event, AFailedConstructionReleasesTheLockOfTheNames) {
    {
        const FailingCall failure(PlatformCall::CondInit, EAGAIN);
        CEvent event(0, kManualReset, "lock-left");
        EXPECT_TRUE(failure.happened());
    }
    int result = -1;
    PosixThread([&] { result = CEvent(0, kManualReset, "lock-left").Set(); }).join();
    EXPECT_EQ(result, 1);
}

TEST(Event, AWaitWithoutTheMutexFailsAndIsNotCounted) {
    TracedEvent event(0, kManualReset);
    {
        const FailingCall failure(PlatformCall::MutexLock, EINVAL);
        EXPECT_EQ(event->Wait(kInfinite, 0), -1);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(event.waiters(), 0U);
}

TEST(Event, AnOperationWithoutTheMutexDoesNotUnlockIt) {
    TracedEvent event(0, kManualReset);
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

}  // namespace
}  // namespace varnock::test
