#include "runtime/Thread.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Event.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using varnock::test::FailingAllocation;
using varnock::test::FailingCall;
using varnock::test::PlatformCall;
using varnock::test::PosixThread;
using varnock::test::TraceCapture;

constexpr unsigned int infinite = 0xFFFFFFFF;
constexpr int detached = 0;
constexpr int joinable = 1;
constexpr int keepAlive = 0;
constexpr int killAlive = 1;

template <typename... Arguments>
std::string text(const char* format, Arguments... arguments) {
    char buffer[300];
    std::snprintf(buffer, sizeof buffer, format, arguments...);
    return buffer;
}

unsigned int number(pthread_t thread) {
    return static_cast<unsigned int>(thread);
}

/// What a started thread does, and how far it is.
class Task {
  public:
    explicit Task(std::function<void()> body) : body_(std::move(body)) {}

    bool start(CThread& thread, int waitable, unsigned long priority = 0) {
        return thread.Start(&run, this, priority, 3, 0x4000, 0, waitable);
    }
    pthread_t id() const { return id_; }
    bool begun() const { return begun_; }
    /// Whether the thread has come to its own end: not when it was cancelled.
    bool ended() const { return ended_; }
    void awaitBegin() const {
        while (!begun_) sched_yield();
    }
    void awaitEnd() const {
        while (!ended_) sched_yield();
    }

  private:
    static void* run(void* argument) {
        Task& task = *static_cast<Task*>(argument);
        task.id_ = pthread_self();
        task.begun_ = true;
        task.body_();
        ThreadReturn(0);
        task.ended_ = true;
        return &task;
    }

    std::function<void()> body_;
    std::atomic<pthread_t> id_ = 0;
    std::atomic<bool> begun_ = false;
    std::atomic<bool> ended_ = false;
};

void nothing() {}

void awaitNotRunning(CThread& thread) {
    while (thread.IsRunning()) sched_yield();
}

TEST(Thread, RunsTheEntryWithItsArgument) {
    CThread thread(keepAlive);
    int value = 0;
    const auto entry = [](void* argument) -> void* {
        *static_cast<int*>(argument) = 42;
        return argument;
    };
    ASSERT_TRUE(thread.Start(entry, &value, 0, 0, 0, 0, joinable));
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_EQ(value, 42);
}

TEST(Thread, RunsFromStartToEnd) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    CThread thread(keepAlive);
    EXPECT_FALSE(thread.IsRunning());
    ASSERT_TRUE(task.start(thread, joinable));
    EXPECT_TRUE(thread.IsRunning());
    go.Set();
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_FALSE(thread.IsRunning());
}

TEST(Thread, AJoinableThreadThatHasEndedDoesNotRunBeforeItIsJoined) {
    Task task(nothing);
    CThread thread(keepAlive);
    task.start(thread, joinable);
    awaitNotRunning(thread);
    EXPECT_TRUE(thread.WaitForTermination(infinite));
}

TEST(Thread, ADetachedThreadDoesNotRunAfterItsEnd) {
    Task task(nothing);
    CThread thread(keepAlive);
    task.start(thread, detached);
    awaitNotRunning(thread);
    task.awaitEnd();
    for (int round = 0; round < 100; ++round) {
        sched_yield();  // the handle may be dead by now
        EXPECT_FALSE(thread.IsRunning());
    }
}

TEST(Thread, AThreadMayUseItsObjectAtOnce) {
    for (int round = 0; round < 50; ++round) {
        CThread thread(keepAlive);
        std::atomic<bool> running = false;
        Task task([&] { running = thread.IsRunning(); });
        task.start(thread, joinable);
        thread.WaitForTermination(infinite);
        EXPECT_TRUE(running);
    }
}

TEST(Thread, ADetachedThreadMayDestroyItsObject) {
    for (int round = 0; round < 50; ++round) {
        auto* thread = new CThread(keepAlive);
        Task task([thread] { delete thread; });
        ASSERT_TRUE(task.start(*thread, detached));
        task.awaitEnd();
    }
}

TEST(Thread, TracesItsStart) {
    const TraceCapture trace;
    Task task(nothing);
    CThread thread(keepAlive);
    task.start(thread, joinable);
    thread.WaitForTermination(infinite);
    const pthread_t id = task.id();
    EXPECT_THAT(trace.messages(), Contains("ThreadPrio=0 "));
    EXPECT_THAT(trace.messages(),
                Contains(text("CThread::Start: thread=0x%08X created, handle = %p , Prio=0, "
                              "Waitable=1, StackSize=0x4000",
                              number(id), reinterpret_cast<void*>(id))));
}

TEST(Thread, AskedForAPriorityItStartsAllTheSame) {
    const TraceCapture trace;
    Task task(nothing);
    CThread thread(keepAlive);
    EXPECT_TRUE(task.start(thread, joinable, 5));
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_THAT(trace.messages(), Contains("ThreadPrio=5 "));
}

TEST(Thread, APriorityDoesNotChangeTheSchedulingThatTheThreadInherits) {
    int policy = -1;
    sched_param parameters{};
    Task task([&] { pthread_getschedparam(pthread_self(), &policy, &parameters); });
    CThread thread(keepAlive);
    EXPECT_TRUE(task.start(thread, joinable, 5));
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    int creatorsPolicy = -2;
    ASSERT_EQ(pthread_getschedparam(pthread_self(), &creatorsPolicy, &parameters), 0);
    EXPECT_EQ(policy, creatorsPolicy);
}

TEST(Thread, TakesThePrioritiesOfRoundRobinScheduling) {
    for (const int priority :
         {sched_get_priority_min(SCHED_RR), sched_get_priority_max(SCHED_RR)}) {
        Task task(nothing);
        CThread thread(killAlive);
        EXPECT_TRUE(task.start(thread, joinable, static_cast<unsigned long>(priority)));
    }
}

TEST(Thread, IsDetachedUnlessWaitable) {
    for (const int waitable : {detached, joinable}) {
        int state = -1;
        Task task([&] {
            pthread_attr_t attributes;
            pthread_getattr_np(pthread_self(), &attributes);
            pthread_attr_getdetachstate(&attributes, &state);
            pthread_attr_destroy(&attributes);
        });
        CThread thread(keepAlive);
        task.start(thread, waitable);
        task.awaitEnd();
        EXPECT_EQ(state, waitable == detached ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE);
        thread.WaitForTermination(infinite);
    }
}

TEST(Thread, TracesItsStartAtLevelTwo) {
    Task task(nothing);
    CThread thread(keepAlive);
    {
        const TraceCapture trace(1);
        task.start(thread, joinable);
        task.awaitEnd();
        EXPECT_EQ(trace.messages().size(), 1U) << "THREAD_RETURN alone: " << trace.text();
    }
    thread.WaitForTermination(infinite);
    const TraceCapture trace(2);
    task.start(thread, joinable);
    EXPECT_TRUE(trace.contains("ThreadPrio="));
    EXPECT_TRUE(trace.contains("CThread::Start: thread="));
    thread.WaitForTermination(infinite);
}

TEST(Thread, TracesAFailedStartAtLevelTwo) {
    for (const PlatformCall call :
         {PlatformCall::AttrInit, PlatformCall::AttrSetDetachState,
          PlatformCall::AttrSetSchedPolicy, PlatformCall::AttrGetSchedParam,
          PlatformCall::AttrSetSchedParam, PlatformCall::ThreadCreate}) {
        Task task(nothing);
        CThread thread(keepAlive);
        for (const unsigned int level : {1U, 2U}) {
            const TraceCapture trace(level);
            const FailingCall failure(call, EPERM);
            EXPECT_FALSE(task.start(thread, detached, 7));
            EXPECT_TRUE(failure.happened());
            EXPECT_EQ(trace.contains(" failed: "), level == 2U) << trace.text();
        }
    }
}

TEST(Thread, RefusesAPriorityThatDoesNotExist) {
    const TraceCapture trace;
    Task task(nothing);
    CThread thread(keepAlive);
    EXPECT_FALSE(task.start(thread, joinable, 1000));
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
    Task first([&] { never.Wait(infinite, 0); });
    Task second(nothing);
    CThread thread(keepAlive);
    first.start(thread, detached);
    first.awaitBegin();
    const TraceCapture trace;
    {
        const FailingCall failure(GetParam().call, EPERM);
        const int waitable = GetParam().call == PlatformCall::AttrSetDetachState ? detached : 1;
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
        CThread thread(keepAlive);
        const TraceCapture trace(2);
        const FailingAllocation failure(n);
        EXPECT_FALSE(task.start(thread, joinable));
        EXPECT_TRUE(failure.happened());
        EXPECT_THAT(trace.messages(), Contains("pthread_create failed: 12"));
        EXPECT_FALSE(thread.IsRunning());
    }
}

TEST(Thread, WaitingForAThreadThatWasNeverStartedSucceeds) {
    CThread thread(keepAlive);
    const TraceCapture trace;
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_THAT(trace.messages(),
                ElementsAre("CThread::WaitForTermination: Thread = 0x000000000 doesn't exist !"));
}

TEST(Thread, WaitingTracesTheResult) {
    Task task(nothing);
    CThread thread(keepAlive);
    task.start(thread, joinable);
    const TraceCapture trace;
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_THAT(trace.messages(), Contains(text("CThread::WaitForTermination: a joinable Thread = "
                                                "0x%08X has terminated, pstat=%p",
                                                number(task.id()), static_cast<void*>(&task))));
    EXPECT_TRUE(thread.WaitForTermination(infinite)) << "there is no thread any more";
    EXPECT_TRUE(trace.contains("doesn't exist !"));
}

TEST(Thread, CannotWaitWithATimeout) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    CThread thread(keepAlive);
    task.start(thread, joinable);
    task.awaitBegin();
    const TraceCapture trace;
    std::atomic<bool> waited = false;
    PosixThread waiter([&] {
        EXPECT_TRUE(thread.WaitForTermination(1));
        waited = true;
    });
    for (int turn = 0; turn < 200; ++turn) sched_yield();
    EXPECT_FALSE(waited);
    go.Set();
    waiter.join();
    EXPECT_THAT(trace.messages(), Contains(text("CThread::WaitForTermination: WARNING: can't wait "
                                                "for Thread = 0x%08X termination with timeout",
                                                number(task.id()))));
}

TEST(Thread, CannotWaitForADetachedThread) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    CThread thread(keepAlive);
    task.start(thread, detached);
    task.awaitBegin();
    {
        const TraceCapture trace;
        EXPECT_FALSE(thread.WaitForTermination(infinite));
        EXPECT_THAT(trace.messages(),
                    ElementsAre(text("CThread::WaitForTermination: WARNING: Can't wait for "
                                     "detached thread 0x%08X",
                                     number(task.id()))));
    }
    go.Set();
    awaitNotRunning(thread);
    task.awaitEnd();
}

TEST(Thread, KillingNoThreadSucceeds) {
    CThread thread(keepAlive);
    const TraceCapture trace;
    EXPECT_TRUE(thread.Kill(9));
    EXPECT_THAT(trace.messages(),
                ElementsAre("CThread::Kill: Try to kill the Thread = 0x00000000",
                            "CThread::Kill: Thread = 0x000000000 doesn't exist !"));
}

TEST(Thread, KillOfAJoinableThreadWaitsForItsEnd) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    CThread thread(keepAlive);
    task.start(thread, joinable);
    task.awaitBegin();
    const TraceCapture trace(2);
    std::atomic<bool> killed = false;
    PosixThread killer([&] {
        EXPECT_TRUE(thread.Kill(0));
        killed = true;
    });
    while (!trace.contains("Try to join a joinable Thread")) sched_yield();
    EXPECT_FALSE(killed);
    go.Set();
    killer.join();
    EXPECT_TRUE(task.ended()) << "it was not cancelled";
    const unsigned int id = number(task.id());
    EXPECT_THAT(trace.messages(),
                ElementsAre(text("CThread::Kill: Try to kill the Thread = 0x%08X", id),
                            text("CThread::Kill: Try to join a joinable Thread = 0x%08X", id),
                            text("THREAD_RETURN: ## INFO: Thread = 0x%08X exited, Return = "
                                 "0x00000000##",
                                 id),
                            text("CThread::Kill: a joinable Thread = 0x%08X has terminated, "
                                 "pstat=%p",
                                 id, static_cast<void*>(&task))));
    EXPECT_TRUE(thread.Kill(0));
    EXPECT_TRUE(trace.contains("doesn't exist !")) << "the handle has been cleared";
}

TEST(Thread, KillOfADetachedThreadCancelsIt) {
    CEvent never(0, 1, nullptr);
    Task task([&] { never.Wait(infinite, 0); });
    CThread thread(keepAlive);
    task.start(thread, detached);
    task.awaitBegin();
    const TraceCapture trace(2);
    EXPECT_TRUE(thread.Kill(0));
    const unsigned int id = number(task.id());
    EXPECT_THAT(
        trace.messages(),
        ElementsAre(text("CThread::Kill: Try to kill the Thread = 0x%08X", id),
                    text("CThread::Kill: Try to kill a non-joinable Thread = 0x0%08X", id),
                    text("CThread::Kill: Killing a non-joinable thread 0x%08X", id),
                    text("CThread::Kill: a non-joinable thread 0x%08X cancel invoked", id)));
    awaitNotRunning(thread);
    EXPECT_FALSE(task.ended());
}

TEST(Thread, KillOfADetachedThreadThatHasEndedSucceeds) {
    Task task(nothing);
    CThread thread(keepAlive);
    task.start(thread, detached);
    awaitNotRunning(thread);
    task.awaitEnd();
    const TraceCapture trace;
    EXPECT_TRUE(thread.Kill(0));
    EXPECT_EQ(trace.messages().size(), 2U) << trace.text();
    EXPECT_FALSE(trace.contains("Killing"));
}

TEST(Thread, AFailedCancelIsTraced) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    CThread thread(keepAlive);
    task.start(thread, detached);
    task.awaitBegin();
    {
        const TraceCapture trace;
        const FailingCall failure(PlatformCall::ThreadCancel, ESRCH);
        EXPECT_FALSE(thread.Kill(0));
        EXPECT_EQ(trace.messages().back(),
                  text("CThread::Kill: unable to cancel a non-joinable thread 0x%08X (err = "
                       "0x00000003)",
                       number(task.id())));
    }
    go.Set();
    awaitNotRunning(thread);
    task.awaitEnd();
}

TEST(Thread, ADetachedThreadMayKillItself) {
    CThread thread(keepAlive);
    CEvent never(0, 1, nullptr);
    Task task([&] {
        thread.Kill(0);
        never.Wait(infinite, 0);
    });
    task.start(thread, detached);
    awaitNotRunning(thread);
    EXPECT_TRUE(task.begun());
    EXPECT_FALSE(task.ended());
}

TEST(Thread, JoiningItselfFails) {
    const TraceCapture trace;
    CThread thread(keepAlive);
    std::atomic<bool> killed = true;
    std::atomic<bool> waited = true;
    Task task([&] {
        killed = thread.Kill(0);
        waited = thread.WaitForTermination(infinite);
    });
    task.start(thread, joinable);
    task.awaitEnd();
    EXPECT_TRUE(thread.WaitForTermination(infinite)) << "the handle has been kept";
    EXPECT_FALSE(killed);
    EXPECT_FALSE(waited);
    const unsigned int id = number(task.id());
    EXPECT_THAT(trace.messages(),
                Contains(text("CThread::Kill: ERROR ! ThreadJoin failed, Thread = 0x%08X, Err = "
                              "0x00000023",
                              id)));
    EXPECT_THAT(trace.messages(),
                Contains(text("CThread::WaitForTermination: ERROR ! ThreadJoin failed, Thread = "
                              "0x%08X, Err = 0x00000023",
                              id)));
}

TEST(Thread, OfTwoThreadsThatWaitOneFails) {
    const TraceCapture trace;
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    CThread thread(keepAlive);
    task.start(thread, joinable);
    std::atomic<int> succeeded = 0;
    std::atomic<int> failed = 0;
    const auto wait = [&] { ++(thread.WaitForTermination(infinite) ? succeeded : failed); };
    {
        PosixThread first(wait);
        PosixThread second(wait);
        while (failed == 0) sched_yield();
        EXPECT_EQ(succeeded, 0);
        go.Set();
    }
    EXPECT_EQ(succeeded, 1);
    EXPECT_EQ(failed, 1);
    EXPECT_TRUE(trace.contains("Err = 0x00000016")) << trace.text();
}

TEST(Thread, AWaitCanBeCancelledAndTriedAgain) {
    if (varnock::test::kThreadSanitizer) {
        GTEST_SKIP()
            << "the thread sanitizer loses track of a thread that is cancelled while it joins";
    }
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    CThread thread(keepAlive);
    task.start(thread, joinable);
    std::atomic<bool> begun = false;
    PosixThread waiter([&] {
        begun = true;
        thread.WaitForTermination(infinite);
    });
    while (!begun) sched_yield();
    waiter.cancel();
    EXPECT_TRUE(waiter.join());
    go.Set();
    EXPECT_TRUE(thread.WaitForTermination(infinite));
}

TEST(Thread, AThreadThatExitsByPthreadExitDoesNotRun) {
    CThread thread(keepAlive);
    const auto entry = [](void*) -> void* { pthread_exit(nullptr); };
    ASSERT_TRUE(thread.Start(entry, nullptr, 0, 0, 0, 0, detached));
    awaitNotRunning(thread);
}

TEST(Thread, DestructionKillsAJoinableThreadIfToldSo) {
    Task task(nothing);
    const TraceCapture trace;
    {
        CThread thread(killAlive);
        task.start(thread, joinable);
    }
    EXPECT_TRUE(task.ended());
    EXPECT_TRUE(trace.contains("CThread::Kill: a joinable Thread"));
}

TEST(Thread, DestructionCancelsADetachedThreadIfToldSo) {
    CEvent never(0, 1, nullptr);
    std::atomic<bool> unwound = false;
    struct Unwinding {
        std::atomic<bool>& flag;
        ~Unwinding() { flag = true; }
    };
    Task task([&] {
        const Unwinding unwinding{unwound};
        never.Wait(infinite, 0);
    });
    {
        CThread thread(killAlive);
        task.start(thread, detached);
        task.awaitBegin();
    }
    while (!unwound) sched_yield();
    EXPECT_FALSE(task.ended());
}

TEST(Thread, DestructionLeavesTheThreadAloneOtherwise) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    {
        CThread thread(keepAlive);
        task.start(thread, detached);
    }
    go.Set();
    task.awaitEnd();
}

TEST(Thread, AStartGoesThroughInACancelledThread) {
    const TraceCapture trace;
    Task task(nothing);
    CThread thread(keepAlive);
    std::atomic<bool> started = false;
    PosixThread starter([&] {
        pthread_cancel(pthread_self());
        started = task.start(thread, joinable);
        pthread_testcancel();
    });
    EXPECT_TRUE(starter.join());
    EXPECT_TRUE(started);
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_TRUE(task.ended());
}

TEST(Thread, DestructionGoesThroughInACancelledThread) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    std::atomic<bool> started = false;
    std::atomic<bool> destroyed = false;
    PosixThread owner([&] {
        {
            CThread thread(killAlive);
            task.start(thread, joinable);
            started = true;
        }
        destroyed = true;
        pthread_testcancel();
    });
    while (!started) sched_yield();
    owner.cancel();
    go.Set();
    EXPECT_TRUE(owner.join());
    EXPECT_TRUE(destroyed);
    EXPECT_TRUE(task.ended());
}

TEST(Thread, AStartKillsTheThreadBeforeIfToldSo) {
    const TraceCapture trace;
    Task first(nothing);
    Task second(nothing);
    CThread thread(killAlive);
    first.start(thread, joinable);
    EXPECT_TRUE(trace.contains("CThread::Kill: Thread = 0x000000000 doesn't exist !"))
        << "traced at the first start";
    second.start(thread, joinable);
    EXPECT_TRUE(first.ended());
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_TRUE(second.ended());
}

TEST(Thread, AStartCancelsTheDetachedThreadBeforeIfToldSo) {
    CEvent never(0, 1, nullptr);
    std::atomic<bool> unwound = false;
    struct Unwinding {
        std::atomic<bool>& flag;
        ~Unwinding() { flag = true; }
    };
    Task first([&] {
        const Unwinding unwinding{unwound};
        never.Wait(infinite, 0);
    });
    Task second(nothing);
    CThread thread(killAlive);
    first.start(thread, detached);
    first.awaitBegin();
    EXPECT_TRUE(second.start(thread, joinable));
    while (!unwound) sched_yield();
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_FALSE(first.ended());
    EXPECT_TRUE(second.ended());
}

TEST(Thread, AnObjectMayBeStartedAgain) {
    CThread thread(keepAlive);
    for (int round = 0; round < 3; ++round) {
        Task task(nothing);
        ASSERT_TRUE(task.start(thread, joinable));
        EXPECT_TRUE(thread.WaitForTermination(infinite));
        EXPECT_TRUE(task.ended());
    }
}

TEST(Thread, TracesTheEndOfAJoinableThreadAtLevelOne) {
    const TraceCapture trace(1);
    Task task(nothing);
    CThread thread(keepAlive);
    thread.Kill(0);
    thread.WaitForTermination(infinite);
    EXPECT_EQ(trace.count("doesn't exist !"), 2U);
    for (const bool kill : {true, false}) {
        task.start(thread, joinable);
        EXPECT_TRUE(kill ? thread.Kill(0) : thread.WaitForTermination(1));
    }
    EXPECT_EQ(trace.count("CThread::Kill: Try to kill the Thread"), 2U);
    EXPECT_EQ(trace.count("CThread::Kill: Try to join a joinable Thread"), 1U);
    EXPECT_EQ(trace.count("has terminated"), 2U);
    EXPECT_EQ(trace.count("termination with timeout"), 1U);
    EXPECT_EQ(trace.count("THREAD_RETURN"), 2U);
    thread.SetThreadName("worker", "first");
    EXPECT_EQ(trace.count("CThread::SetThreadName"), 1U);
}

TEST(Thread, TracesAFailedJoinAtLevelOne) {
    const TraceCapture trace(1);
    CThread thread(keepAlive);
    Task task([&] {
        thread.Kill(0);
        thread.WaitForTermination(infinite);
    });
    task.start(thread, joinable);
    task.awaitEnd();
    thread.WaitForTermination(infinite);
    EXPECT_EQ(trace.count("ERROR ! ThreadJoin failed"), 2U);
}

TEST(Thread, TracesTheCancellationOfADetachedThreadAtLevelTwo) {
    CEvent never(0, 1, nullptr);
    Task task([&] { never.Wait(infinite, 0); });
    CThread thread(keepAlive);
    task.start(thread, detached);
    task.awaitBegin();
    const TraceCapture trace(1);
    EXPECT_FALSE(thread.WaitForTermination(infinite));
    {
        const FailingCall failure(PlatformCall::ThreadCancel, ESRCH);
        EXPECT_FALSE(thread.Kill(0));
    }
    EXPECT_TRUE(thread.Kill(0));
    awaitNotRunning(thread);
    const unsigned int id = number(task.id());
    const std::string tried = text("CThread::Kill: Try to kill the Thread = 0x%08X", id);
    const std::string detachedTried =
        text("CThread::Kill: Try to kill a non-joinable Thread = 0x0%08X", id);
    EXPECT_THAT(trace.messages(),
                ElementsAre(text("CThread::WaitForTermination: WARNING: Can't wait for detached "
                                 "thread 0x%08X",
                                 id),
                            tried, detachedTried, tried, detachedTried));
}

TEST(Thread, NothingIsTracedAtLevelZero) {
    const TraceCapture trace(0);
    Task task(nothing);
    CThread thread(killAlive);
    task.start(thread, joinable);
    thread.WaitForTermination(1);
    thread.WaitForTermination(infinite);
    thread.SetThreadName("worker", nullptr);
    task.start(thread, detached);
    task.awaitEnd();
    thread.WaitForTermination(infinite);
    thread.Kill(0);
    EXPECT_EQ(trace.text(), "");
}

TEST(Thread, WithoutMonitorTracesNothingAtItsConstruction) {
    const TraceCapture trace;
    const CThread thread(keepAlive);
    EXPECT_EQ(trace.text(), "");
}

TEST(Thread, TheNameOfAThreadWithoutEntryIsOnlyTraced) {
    CThread thread(keepAlive);
    const TraceCapture trace;
    EXPECT_FALSE(thread.SetThreadName("worker", nullptr));
    EXPECT_THAT(trace.messages(),
                ElementsAre("CThread::SetThreadName: ThreadId = 0x00000000, DebugName = worker, "
                            "Qualifier = ((null))"));
}

TEST(Thread, ReturnTracesAndGivesTheCodeBack) {
    const TraceCapture trace;
    EXPECT_EQ(ThreadReturn(0xABCDU), 0xABCDU);
    EXPECT_THAT(trace.messages(),
                ElementsAre(text("THREAD_RETURN: ## INFO: Thread = 0x%08X exited, Return = "
                                 "0x0000abcd##",
                                 number(pthread_self()))));
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
        static_cast<CEvent*>(event)->Wait(infinite, 0);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, wait, &never), 0);
    EXPECT_EQ(ThreadKill(thread, 0), 0) << "the signal number is ignored";
    void* result = nullptr;
    EXPECT_EQ(ThreadJoin(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

/// With a monitor, as a host may have one.
class MonitoredThread : public testing::Test {
  protected:
    MonitoredThread() {
        ThreadCounter = 1;
        MaxActiveThread = 1;
        pThreadMonitor = monitor_.get();
    }
    ~MonitoredThread() override { pThreadMonitor = nullptr; }

    /// An object and the entry that it got.
    std::pair<std::unique_ptr<CThread>, CThreadMonitorEntry*> make(int killStillAlive) {
        const TraceCapture trace;
        auto thread = std::make_unique<CThread>(killStillAlive);
        const std::string traced = trace.text();
        void* entry = nullptr;
        const std::size_t at = traced.find("pentry = ");
        if (at == std::string::npos ||
            std::sscanf(traced.c_str() + at, "pentry = %p", &entry) != 1) {
            ADD_FAILURE() << traced;
        }
        return {std::move(thread), static_cast<CThreadMonitorEntry*>(entry)};
    }
    static std::vector<unsigned int> history(const CThreadMonitorEntry& entry) {
        return {entry.threadStatus.begin(), entry.threadStatus.begin() + entry.statusCounter + 1};
    }

    std::unique_ptr<CThreadMonitor> monitor_ = std::make_unique<CThreadMonitor>();
};

TEST_F(MonitoredThread, RecordsTheLifeOfAJoinedThread) {
    auto [thread, entry] = make(killAlive);
    Task task(nothing);
    task.start(*thread, joinable);
    task.awaitEnd();
    EXPECT_EQ(entry->thread, task.id());
    EXPECT_EQ(entry->creator, pthread_self());
    EXPECT_EQ(entry->processId, getpid());
    EXPECT_EQ(entry->priority, 0U);
    EXPECT_EQ(entry->stackSize, 0x4000U);
    EXPECT_EQ(entry->waitable, joinable);
    EXPECT_EQ(entry->startOption, 3);
    EXPECT_EQ(entry->killStillAlive, killAlive);
    EXPECT_TRUE(thread->WaitForTermination(infinite));
    EXPECT_EQ(entry->joiner, pthread_self());
    thread = nullptr;
    EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1, 0x11, 0x101, 0x10101, 0x30101, 0x10030100));
    EXPECT_EQ(entry->entryStatus[entry->statusCounter], 0x10000891U);
}

TEST_F(MonitoredThread, RecordsTheLifeOfACancelledThread) {
    auto [thread, entry] = make(keepAlive);
    CEvent never(0, 1, nullptr);
    Task task([&] { never.Wait(infinite, 0); });
    task.start(*thread, detached);
    task.awaitBegin();
    EXPECT_TRUE(thread->Kill(0));
    awaitNotRunning(*thread);
    EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1, 0x11, 0x1011, 0x3001));
    EXPECT_EQ(entry->entryStatus[entry->statusCounter], 0x10000041U);
    EXPECT_EQ(ThreadCounter, 2) << "a cancelled thread has not returned";
}

TEST_F(MonitoredThread, CountsThreadsInAndOut) {
    EXPECT_EQ(ThreadCounter, 1);
    CEvent go(0, 1, nullptr);
    Task first([&] { go.Wait(infinite, 0); });
    Task second([&] { go.Wait(infinite, 0); });
    CThread one(killAlive);
    CThread other(killAlive);
    first.start(one, joinable);
    EXPECT_EQ(ThreadCounter, 2);
    second.start(other, joinable);
    EXPECT_EQ(ThreadCounter, 3);
    go.Set();
    one.WaitForTermination(infinite);
    other.WaitForTermination(infinite);
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_EQ(MaxActiveThread, 3);
}

TEST_F(MonitoredThread, TheStartIsRecordedBeforeTheExit) {
    for (int round = 0; round < 100; ++round) {
        auto [thread, entry] = make(keepAlive);
        Task task(nothing);
        task.start(*thread, joinable);
        task.awaitEnd();
        thread->WaitForTermination(infinite);
        EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1, 0x11, 0x101, 0x10101, 0x30101));
    }
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_EQ(MaxActiveThread, 2);
}

TEST_F(MonitoredThread, RacingStartsAndExitsKeepTheCounter) {
    const TraceCapture quiet(0);
    const auto work = [] {
        for (int round = 0; round < 30; ++round) {
            Task task(nothing);
            CThread thread(keepAlive);
            ASSERT_TRUE(task.start(thread, detached));
            task.awaitEnd();
        }
    };
    {
        PosixThread first(work);
        PosixThread second(work);
    }
    EXPECT_EQ(ThreadCounter, 1);
}

TEST_F(MonitoredThread, WarnsWhenTheObjectGoesBeforeTheThread) {
    auto [thread, entry] = make(keepAlive);
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    task.start(*thread, detached);
    const TraceCapture trace;
    thread = nullptr;
    EXPECT_TRUE(trace.contains("of a running thread = "));
    go.Set();
    task.awaitEnd();
    EXPECT_EQ(ThreadCounter, 1) << "its exit is recorded all the same";
}

TEST_F(MonitoredThread, StoresItsName) {
    auto [thread, entry] = make(keepAlive);
    const TraceCapture trace;
    EXPECT_TRUE(thread->SetThreadName("worker", "first"));
    EXPECT_STREQ(entry->debugName.get(), "worker");
    EXPECT_STREQ(entry->qualifier.get(), "first");
    EXPECT_THAT(trace.messages(),
                ElementsAre("CThread::SetThreadName: ThreadId = 0x00000000, DebugName = worker, "
                            "Qualifier = (first)"));
}

TEST_F(MonitoredThread, AFailedStartIsNeitherRecordedNorCounted) {
    auto [thread, entry] = make(keepAlive);
    Task task(nothing);
    {
        const FailingCall failure(PlatformCall::ThreadCreate, EAGAIN);
        EXPECT_FALSE(task.start(*thread, joinable));
    }
    EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1));
    EXPECT_EQ(entry->thread, 0U);
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_EQ(MaxActiveThread, 1);
}

TEST_F(MonitoredThread, RecordsAJoinThatFailedAsBegun) {
    auto [thread, entry] = make(keepAlive);
    CThread& object = *thread;
    Task task([&] { EXPECT_FALSE(object.Kill(0)); });
    task.start(object, joinable);
    task.awaitEnd();
    EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1, 0x11, 0x10011, 0x10101));
    EXPECT_EQ(entry->joiner, task.id());
    EXPECT_TRUE(object.WaitForTermination(infinite));
}

TEST_F(MonitoredThread, RecordsACancellationThatFailedAsRequested) {
    auto [thread, entry] = make(keepAlive);
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(infinite, 0); });
    task.start(*thread, detached);
    task.awaitBegin();
    {
        const FailingCall failure(PlatformCall::ThreadCancel, ESRCH);
        EXPECT_FALSE(thread->Kill(0));
    }
    EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1, 0x11, 0x1011));
    EXPECT_EQ(entry->entryStatus[entry->statusCounter], 0x1U);
    go.Set();
    task.awaitEnd();
}

// The history only grows, so a second thread of the same object looks like one that has ended.
TEST_F(MonitoredThread, OnlyTheFirstThreadOfAnObjectIsCountedOut) {
    auto [thread, entry] = make(keepAlive);
    Task task(nothing);
    task.start(*thread, joinable);
    thread->WaitForTermination(infinite);
    EXPECT_EQ(ThreadCounter, 1);
    const TraceCapture trace(1);
    task.start(*thread, joinable);
    thread->WaitForTermination(infinite);
    EXPECT_EQ(ThreadCounter, 2);
    EXPECT_EQ(entry->thread, task.id());
    EXPECT_TRUE(trace.contains("Don't touch an old entry")) << trace.text();
    EXPECT_TRUE(trace.contains("no corresponding entry"));
}

TEST_F(MonitoredThread, TheFiveHundredAndThirteenthObjectWorksWithoutRecords) {
    const TraceCapture quiet(0);
    for (int count = 0; count < 512; ++count) ASSERT_NE(monitor_->RegisterEntry(), nullptr);
    const TraceCapture trace(1);
    CThread thread(keepAlive);
    EXPECT_THAT(trace.messages(),
                ElementsAre("CTHREADMONITOR::RegisterEntry(): WARNING: cannot create an entry in "
                            "CTHREADMONITOR (max value exceeded)",
                            "CThread::KillStillAliveThread=TRUE: RegisterEntry returned "
                            "ThreadMonHandle = NULL"));
    Task task(nothing);
    EXPECT_TRUE(task.start(thread, joinable));
    EXPECT_TRUE(thread.WaitForTermination(infinite));
    EXPECT_TRUE(task.ended());
    EXPECT_FALSE(thread.SetThreadName("worker", "last"));
    EXPECT_EQ(ThreadCounter, 2) << "counted in, but no entry counts it out";
}

}  // namespace
