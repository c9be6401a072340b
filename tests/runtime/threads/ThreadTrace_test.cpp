#include "runtime/Thread.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <string>

#include "runtime/Event.h"
#include "tests/runtime/threads/ThreadSupport.h"
#include "tests/support/FailingCall.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

TEST(Thread, TracesItsStart) {
    const TraceCapture trace;
    Task task(nothing);
    CThread thread(kKeepAlive);
    task.start(thread, kJoinable);
    thread.WaitForTermination(kInfinite);
    const pthread_t id = task.id();
    EXPECT_THAT(trace.messages(), Contains("ThreadPrio=0 "));
    EXPECT_THAT(trace.messages(),
                Contains(text("CThread::Start: thread=0x%08X created, handle = %p , Prio=0, "
                              "Waitable=1, StackSize=0x4000",
                              number(id), reinterpret_cast<void*>(id))));
}

TEST(Thread, TracesItsStartAtLevelTwo) {
    Task task(nothing);
    CThread thread(kKeepAlive);
    {
        const TraceCapture trace(1);
        task.start(thread, kJoinable);
        task.awaitEnd();
        EXPECT_EQ(trace.messages().size(), 1U) << "THREAD_RETURN alone: " << trace.text();
    }
    thread.WaitForTermination(kInfinite);
    const TraceCapture trace(2);
    task.start(thread, kJoinable);
    EXPECT_TRUE(trace.contains("ThreadPrio="));
    EXPECT_TRUE(trace.contains("CThread::Start: thread="));
    thread.WaitForTermination(kInfinite);
}

TEST(Thread, TracesAFailedStartAtLevelTwo) {
    for (const PlatformCall call :
         {PlatformCall::AttrInit, PlatformCall::AttrSetDetachState,
          PlatformCall::AttrSetSchedPolicy, PlatformCall::AttrGetSchedParam,
          PlatformCall::AttrSetSchedParam, PlatformCall::ThreadCreate}) {
        Task task(nothing);
        CThread thread(kKeepAlive);
        for (const unsigned int level : {1U, 2U}) {
            const TraceCapture trace(level);
            const FailingCall failure(call, EPERM);
            EXPECT_FALSE(task.start(thread, kDetached, 7));
            EXPECT_TRUE(failure.happened());
            EXPECT_EQ(trace.contains(" failed: "), level == 2U) << trace.text();
        }
    }
}

TEST(Thread, TracesTheEndOfAJoinableThreadAtLevelOne) {
    const TraceCapture trace(1);
    Task task(nothing);
    CThread thread(kKeepAlive);
    thread.Kill(0);
    thread.WaitForTermination(kInfinite);
    EXPECT_EQ(trace.count("doesn't exist !"), 2U);
    for (const bool kill : {true, false}) {
        task.start(thread, kJoinable);
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
    CThread thread(kKeepAlive);
    Task task([&] {
        thread.Kill(0);
        thread.WaitForTermination(kInfinite);
    });
    task.start(thread, kJoinable);
    task.awaitEnd();
    thread.WaitForTermination(kInfinite);
    EXPECT_EQ(trace.count("ERROR ! ThreadJoin failed"), 2U);
}

TEST(Thread, TracesTheCancellationOfADetachedThreadAtLevelTwo) {
    CEvent never(0, 1, nullptr);
    Task task([&] { never.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    task.start(thread, kDetached);
    task.awaitBegin();
    const TraceCapture trace(1);
    EXPECT_FALSE(thread.WaitForTermination(kInfinite));
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
    CThread thread(kKillAlive);
    task.start(thread, kJoinable);
    thread.WaitForTermination(1);
    thread.WaitForTermination(kInfinite);
    thread.SetThreadName("worker", nullptr);
    task.start(thread, kDetached);
    task.awaitEnd();
    thread.WaitForTermination(kInfinite);
    thread.Kill(0);
    EXPECT_EQ(trace.text(), "");
}

TEST(Thread, WithoutMonitorTracesNothingAtItsConstruction) {
    const TraceCapture trace;
    const CThread thread(kKeepAlive);
    EXPECT_EQ(trace.text(), "");
}

TEST(Thread, TheNameOfAThreadWithoutEntryIsOnlyTraced) {
    CThread thread(kKeepAlive);
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

}  // namespace
}  // namespace varnock::test
