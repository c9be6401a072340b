#include "runtime/Thread.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>

#include "runtime/Event.h"
#include "tests/runtime/threads/ThreadSupport.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

/// Records that a thread has left the scope, by return or by cancellation.
struct Unwinding {
    std::atomic<bool>& flag;
    ~Unwinding() { flag = true; }
};

TEST(Thread, WaitingForAThreadThatWasNeverStartedSucceeds) {
    CThread thread(kKeepAlive);
    const TraceCapture trace;
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_THAT(trace.messages(),
                ElementsAre("CThread::WaitForTermination: Thread = 0x000000000 doesn't exist !"));
}

TEST(Thread, WaitingTracesTheResult) {
    Task task(nothing);
    CThread thread(kKeepAlive);
    task.start(thread, kJoinable);
    const TraceCapture trace;
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_THAT(trace.messages(), Contains(text("CThread::WaitForTermination: a joinable Thread = "
                                                "0x%08X has terminated, pstat=%p",
                                                number(task.id()), static_cast<void*>(&task))));
    EXPECT_TRUE(thread.WaitForTermination(kInfinite)) << "there is no thread any more";
    EXPECT_TRUE(trace.contains("doesn't exist !"));
}

TEST(Thread, CannotWaitWithATimeout) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    task.start(thread, kJoinable);
    task.awaitBegin();
    const TraceCapture trace;
    std::atomic<bool> waited = false;
    PosixThread waiter([&] {
        EXPECT_TRUE(thread.WaitForTermination(1));
        waited = true;
    });
    for (int turn = 0; turn < 200; ++turn) {
        sched_yield();
    }
    EXPECT_FALSE(waited);
    go.Set();
    waiter.join();
    EXPECT_THAT(trace.messages(), Contains(text("CThread::WaitForTermination: WARNING: can't wait "
                                                "for Thread = 0x%08X termination with timeout",
                                                number(task.id()))));
}

TEST(Thread, CannotWaitForADetachedThread) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    task.start(thread, kDetached);
    task.awaitBegin();
    {
        const TraceCapture trace;
        EXPECT_FALSE(thread.WaitForTermination(kInfinite));
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
    CThread thread(kKeepAlive);
    const TraceCapture trace;
    EXPECT_TRUE(thread.Kill(9));
    EXPECT_THAT(trace.messages(),
                ElementsAre("CThread::Kill: Try to kill the Thread = 0x00000000",
                            "CThread::Kill: Thread = 0x000000000 doesn't exist !"));
}

TEST(Thread, KillOfAJoinableThreadWaitsForItsEnd) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    task.start(thread, kJoinable);
    task.awaitBegin();
    const TraceCapture trace(2);
    std::atomic<bool> killed = false;
    PosixThread killer([&] {
        EXPECT_TRUE(thread.Kill(0));
        killed = true;
    });
    while (!trace.contains("Try to join a joinable Thread")) {
        sched_yield();
    }
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
    Task task([&] { never.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    task.start(thread, kDetached);
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
    CThread thread(kKeepAlive);
    task.start(thread, kDetached);
    awaitNotRunning(thread);
    task.awaitEnd();
    const TraceCapture trace;
    EXPECT_TRUE(thread.Kill(0));
    EXPECT_EQ(trace.messages().size(), 2U) << trace.text();
    EXPECT_FALSE(trace.contains("Killing"));
}

TEST(Thread, AFailedCancelIsTraced) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    task.start(thread, kDetached);
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
    CThread thread(kKeepAlive);
    CEvent never(0, 1, nullptr);
    Task task([&] {
        thread.Kill(0);
        never.Wait(kInfinite, 0);
    });
    task.start(thread, kDetached);
    awaitNotRunning(thread);
    EXPECT_TRUE(task.begun());
    EXPECT_FALSE(task.ended());
}

TEST(Thread, JoiningItselfFails) {
    const TraceCapture trace;
    CThread thread(kKeepAlive);
    std::atomic<bool> killed = true;
    std::atomic<bool> waited = true;
    Task task([&] {
        killed = thread.Kill(0);
        waited = thread.WaitForTermination(kInfinite);
    });
    task.start(thread, kJoinable);
    task.awaitEnd();
    EXPECT_TRUE(thread.WaitForTermination(kInfinite)) << "the handle has been kept";
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
    Task task([&] { go.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    task.start(thread, kJoinable);
    std::atomic<int> succeeded = 0;
    std::atomic<int> failed = 0;
    const auto wait = [&] { ++(thread.WaitForTermination(kInfinite) ? succeeded : failed); };
    {
        PosixThread first(wait);
        PosixThread second(wait);
        while (failed == 0) {
            sched_yield();
        }
        EXPECT_EQ(succeeded, 0);
        go.Set();
    }
    EXPECT_EQ(succeeded, 1);
    EXPECT_EQ(failed, 1);
    EXPECT_TRUE(trace.contains("Err = 0x00000016")) << trace.text();
}

TEST(Thread, AWaitCanBeCancelledAndTriedAgain) {
    if (kThreadSanitizer) {
        GTEST_SKIP()
            << "the thread sanitizer loses track of a thread that is cancelled while it joins";
    }
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    CThread thread(kKeepAlive);
    task.start(thread, kJoinable);
    std::atomic<bool> begun = false;
    PosixThread waiter([&] {
        begun = true;
        thread.WaitForTermination(kInfinite);
    });
    while (!begun) {
        sched_yield();
    }
    waiter.cancel();
    EXPECT_TRUE(waiter.join());
    go.Set();
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
}

TEST(Thread, AThreadThatExitsByPthreadExitDoesNotRun) {
    CThread thread(kKeepAlive);
    const auto entry = [](void*) -> void* { pthread_exit(nullptr); };
    ASSERT_TRUE(thread.Start(entry, nullptr, 0, 0, 0, 0, kDetached));
    awaitNotRunning(thread);
}

TEST(Thread, DestructionKillsAJoinableThreadIfToldSo) {
    Task task(nothing);
    const TraceCapture trace;
    {
        CThread thread(kKillAlive);
        task.start(thread, kJoinable);
    }
    EXPECT_TRUE(task.ended());
    EXPECT_TRUE(trace.contains("CThread::Kill: a joinable Thread"));
}

TEST(Thread, DestructionCancelsADetachedThreadIfToldSo) {
    CEvent never(0, 1, nullptr);
    std::atomic<bool> unwound = false;
    Task task([&] {
        const Unwinding unwinding{unwound};
        never.Wait(kInfinite, 0);
    });
    {
        CThread thread(kKillAlive);
        task.start(thread, kDetached);
        task.awaitBegin();
    }
    while (!unwound) {
        sched_yield();
    }
    EXPECT_FALSE(task.ended());
}

TEST(Thread, DestructionLeavesTheThreadAloneOtherwise) {
    CEvent go(0, 1, nullptr);
    std::atomic<int> waited = -1;
    std::atomic<bool> unwound = false;
    Task task([&] {
        const Unwinding unwinding{unwound};
        waited = go.Wait(kInfinite, 0);
    });
    {
        CThread thread(kKeepAlive);
        task.start(thread, kDetached);
        task.awaitBegin();
    }
    go.Set();
    while (!unwound) {
        sched_yield();
    }
    ASSERT_EQ(waited, 0) << "it was cancelled";
    task.awaitEnd();
}

TEST(Thread, DestructionGoesThroughInACancelledThread) {
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    std::atomic<bool> started = false;
    std::atomic<bool> destroyed = false;
    PosixThread owner([&] {
        {
            CThread thread(kKillAlive);
            task.start(thread, kJoinable);
            started = true;
        }
        destroyed = true;
        pthread_testcancel();
    });
    while (!started) {
        sched_yield();
    }
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
    CThread thread(kKillAlive);
    first.start(thread, kJoinable);
    EXPECT_TRUE(trace.contains("CThread::Kill: Thread = 0x000000000 doesn't exist !"))
        << "traced at the first start";
    second.start(thread, kJoinable);
    EXPECT_TRUE(first.ended());
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_TRUE(second.ended());
}

TEST(Thread, AStartCancelsTheDetachedThreadBeforeIfToldSo) {
    CEvent never(0, 1, nullptr);
    std::atomic<bool> unwound = false;
    Task first([&] {
        const Unwinding unwinding{unwound};
        never.Wait(kInfinite, 0);
    });
    Task second(nothing);
    CThread thread(kKillAlive);
    first.start(thread, kDetached);
    first.awaitBegin();
    EXPECT_TRUE(second.start(thread, kJoinable));
    while (!unwound) {
        sched_yield();
    }
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_FALSE(first.ended());
    EXPECT_TRUE(second.ended());
}

}  // namespace
}  // namespace varnock::test
