#include "runtime/Thread.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <ostream>
#include <string>

#include "runtime/Event.h"
#include "tests/runtime/threads/ThreadSupport.h"
#include "tests/support/EveryCall.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

TEST(Thread, RunsTheEntryWithItsArgument) {
    CThread thread(kKeepAlive);
    int value = 0;
    const auto entry = [](void* argument) -> void* {
        *static_cast<int*>(argument) = 42;
        return argument;
    };
    ASSERT_TRUE(thread.Start(entry, &value, 0, 0, 0, 0, kJoinable));
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_EQ(value, 42);
}

TEST(Thread, RunsFromStartToEnd) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    EXPECT_FALSE(thread.IsRunning());
    ASSERT_TRUE(task.start(thread, kJoinable));
    EXPECT_TRUE(thread.IsRunning());
    go.Set();
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_FALSE(thread.IsRunning());
}

TEST(Thread, AJoinableThreadThatHasEndedDoesNotRunBeforeItIsJoined) {
    Task task(nothing);
    CThread thread(kKeepAlive);
    task.start(thread, kJoinable);
    awaitNotRunning(thread);
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
}

TEST(Thread, ADetachedThreadDoesNotRunAfterItsEnd) {
    Task task(nothing);
    CThread thread(kKeepAlive);
    task.start(thread, kDetached);
    awaitNotRunning(thread);
    task.awaitEnd();
    for (int round = 0; round < 100; ++round) {
        sched_yield();  // the handle may already be invalid
        EXPECT_FALSE(thread.IsRunning());
    }
}

TEST(Thread, AThreadMayUseItsObjectAtOnce) {
    for (int round = 0; round < 50; ++round) {
        CThread thread(kKeepAlive);
        std::atomic<bool> running = false;
        Task task([&] { running = thread.IsRunning(); });
        task.start(thread, kJoinable);
        thread.WaitForTermination(kInfinite);
        EXPECT_TRUE(running);
    }
}

TEST(Thread, ADetachedThreadMayDestroyItsObject) {
    for (int round = 0; round < 50; ++round) {
        auto* thread = new CThread(kKeepAlive);
        Task task([thread] { delete thread; });
        ASSERT_TRUE(task.start(*thread, kDetached));
        task.awaitEnd();
    }
}

TEST(Thread, AskedForAPriorityItStartsAllTheSame) {
    const TraceCapture trace;
    Task task(nothing);
    CThread thread(kKeepAlive);
    EXPECT_TRUE(task.start(thread, kJoinable, 5));
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_THAT(trace.messages(), Contains("ThreadPrio=5 "));
}

TEST(Thread, APriorityDoesNotChangeTheSchedulingThatTheThreadInherits) {
    int policy = -1;
    sched_param parameters{};
    Task task([&] { pthread_getschedparam(pthread_self(), &policy, &parameters); });
    CThread thread(kKeepAlive);
    EXPECT_TRUE(task.start(thread, kJoinable, 5));
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    int creatorsPolicy = -2;
    ASSERT_EQ(pthread_getschedparam(pthread_self(), &creatorsPolicy, &parameters), 0);
    EXPECT_EQ(policy, creatorsPolicy);
}

TEST(Thread, TakesThePrioritiesOfRoundRobinScheduling) {
    for (const int priority :
         {sched_get_priority_min(SCHED_RR), sched_get_priority_max(SCHED_RR)}) {
        Task task(nothing);
        CThread thread(kKillAlive);
        EXPECT_TRUE(task.start(thread, kJoinable, static_cast<unsigned long>(priority)));
    }
}

TEST(Thread, IsDetachedUnlessWaitable) {
    for (const int waitable : {kDetached, kJoinable}) {
        int state = -1;
        Task task([&] {
            pthread_attr_t attributes;
            pthread_getattr_np(pthread_self(), &attributes);
            pthread_attr_getdetachstate(&attributes, &state);
            pthread_attr_destroy(&attributes);
        });
        CThread thread(kKeepAlive);
        task.start(thread, waitable);
        task.awaitEnd();
        EXPECT_EQ(state, waitable == kDetached ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE);
        thread.WaitForTermination(kInfinite);
    }
}

TEST(Thread, RefusesAPriorityThatDoesNotExist) {
    const TraceCapture trace;
    Task task(nothing);
    CThread thread(kKeepAlive);
    EXPECT_FALSE(task.start(thread, kJoinable, 1000));
    EXPECT_THAT(trace.messages(),
                ElementsAre("ThreadPrio=1000 ",
                            "pthread_attr_setschedparam failed: error=22 priority=1000"));
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_FALSE(task.begun());
}

struct FailedStart {
    PlatformCall call;
    const char* message;
};

void PrintTo(const FailedStart& start, std::ostream* out) {
    *out << start.message;
}

class ThreadStart : public testing::TestWithParam<FailedStart> {};

TEST_P(ThreadStart, TracesWhatFailedAndLeavesTheObjectAsItWas) {
    CEvent never(0, 1, nullptr);
    Task first([&] { never.Wait(kInfinite, 0); });
    Task second(nothing);
    CThread thread(kKeepAlive);
    first.start(thread, kDetached);
    first.awaitBegin();
    const TraceCapture trace;
    {
        const FailingCall failure(GetParam().call, EPERM);
        const int waitable = GetParam().call == PlatformCall::AttrSetDetachState ? kDetached : 1;
        EXPECT_FALSE(second.start(thread, waitable, 7));
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(trace.messages().back(), GetParam().message);
    EXPECT_FALSE(second.begun());
    EXPECT_TRUE(thread.IsRunning());
    EXPECT_TRUE(thread.Kill(0)) << "the first thread is still known, and known as detached";
    awaitNotRunning(thread);
}

INSTANTIATE_TEST_SUITE_P(
    EachCall, ThreadStart,
    testing::Values(
        FailedStart{PlatformCall::AttrInit, "pthread_attr_init failed: 1 "},
        FailedStart{PlatformCall::AttrSetDetachState, "pthread_attr_setdetachstate failed: 1 "},
        FailedStart{PlatformCall::AttrSetSchedPolicy, "pthread_attr_setschedpolicy failed: 1 "},
        FailedStart{PlatformCall::AttrGetSchedParam, "pthread_attr_getschedparam failed: 1 "},
        FailedStart{PlatformCall::AttrSetSchedParam,
                    "pthread_attr_setschedparam failed: error=1 priority=7"},
        FailedStart{PlatformCall::ThreadCreate, "pthread_create failed: 1"}),
    [](const testing::TestParamInfo<FailedStart>& parameter) {
        return "Call" + std::to_string(parameter.index);
    });

TEST(Thread, WithoutMemoryItDoesNotStart) {
    for (const std::size_t n : {1U, 2U}) {
        Task task(nothing);
        CThread thread(kKeepAlive);
        const TraceCapture trace(2);
        const FailingAllocation failure(n);
        EXPECT_FALSE(task.start(thread, kJoinable));
        EXPECT_TRUE(failure.happened());
        EXPECT_THAT(trace.messages(), Contains("pthread_create failed: 12"));
        EXPECT_FALSE(thread.IsRunning());
    }
}

TEST(Thread, AStartGoesThroughInACancelledThread) {
    const TraceCapture trace;
    Task task(nothing);
    CThread thread(kKeepAlive);
    std::atomic<bool> started = false;
    PosixThread starter([&] {
        pthread_cancel(pthread_self());
        started = task.start(thread, kJoinable);
        pthread_testcancel();
    });
    EXPECT_TRUE(starter.join());
    EXPECT_TRUE(started);
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_TRUE(task.ended());
}

TEST(Thread, AnObjectMayBeStartedAgain) {
    CThread thread(kKeepAlive);
    for (int round = 0; round < 3; ++round) {
        Task task(nothing);
        ASSERT_TRUE(task.start(thread, kJoinable));
        EXPECT_TRUE(thread.WaitForTermination(kInfinite));
        EXPECT_TRUE(task.ended());
    }
}

TEST(Thread, WrappersReachTheThreadLibrary) {
    int priority = -1;
    EXPECT_TRUE(ThreadGetPrio(pthread_self(), &priority));
    EXPECT_EQ(priority, 0);
    EXPECT_TRUE(ThreadGetPrio(pthread_self(), nullptr));
    EXPECT_FALSE(ThreadGetPrio(0, &priority));
    EXPECT_NE(ThreadEqual(pthread_self(), pthread_self()), 0);
    EXPECT_EQ(ThreadEqual(pthread_self(), 0), 0);
    pthread_t thread{};
    CEvent never(0, 1, nullptr);
    const auto wait = [](void* event) -> void* {
        static_cast<CEvent*>(event)->Wait(kInfinite, 0);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, wait, &never), 0);
    EXPECT_EQ(ThreadKill(thread, 0), 0) << "the signal number is ignored";
    void* result = nullptr;
    EXPECT_EQ(ThreadJoin(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST(Thread, EverySystemCallOfAStartMayFail) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    const std::size_t faults = forEveryFaultOf([](const TracedPart& part, const Fault& fault) {
        CThread thread(kKeepAlive);
        Task task(nothing);
        part.begin();
        const bool isStarted = task.start(thread, kJoinable);
        EXPECT_TRUE(thread.WaitForTermination(kInfinite));
        part.end();
        EXPECT_EQ(isStarted, task.ended());
        EXPECT_TRUE(isStarted || !fault.isHarmless());
        EXPECT_FALSE(thread.IsRunning());
        Task next(nothing);
        EXPECT_TRUE(next.start(thread, kJoinable));
        EXPECT_TRUE(thread.WaitForTermination(kInfinite));
        EXPECT_TRUE(next.ended());
    });
    EXPECT_GE(faults, 2u);  // the stack may be that of an earlier thread
}

}  // namespace
}  // namespace varnock::test
