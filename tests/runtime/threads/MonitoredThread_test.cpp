#include "runtime/Thread.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Event.h"
#include "tests/runtime/threads/ThreadSupport.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

/// A process with a monitor.
class MonitoredThread : public testing::Test {
  protected:
    MonitoredThread() {
        ThreadCounter = 1;
        MaxActiveThread = 1;
        pThreadMonitor = monitor_.get();
    }
    ~MonitoredThread() override { pThreadMonitor = nullptr; }

    /// An object and its entry.
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
    auto [thread, entry] = make(kKillAlive);
    Task task(nothing);
    task.start(*thread, kJoinable);
    task.awaitEnd();
    EXPECT_EQ(entry->thread, task.id());
    EXPECT_EQ(entry->creator, pthread_self());
    EXPECT_EQ(entry->processId, getpid());
    EXPECT_EQ(entry->priority, 0U);
    EXPECT_EQ(entry->stackSize, 0x4000U);
    EXPECT_EQ(entry->waitable, kJoinable);
    EXPECT_EQ(entry->startOption, 3);
    EXPECT_EQ(entry->killStillAlive, kKillAlive);
    EXPECT_TRUE(thread->WaitForTermination(kInfinite));
    EXPECT_EQ(entry->joiner, pthread_self());
    thread = nullptr;
    EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1, 0x11, 0x101, 0x10101, 0x30101, 0x10030100));
    EXPECT_EQ(entry->entryStatus[entry->statusCounter], 0x10000891U);
}

TEST_F(MonitoredThread, RecordsTheLifeOfACancelledThread) {
    auto [thread, entry] = make(kKeepAlive);
    CEvent never(0, 1, nullptr);
    Task task([&] { never.Wait(kInfinite, 0); });
    task.start(*thread, kDetached);
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
    Task first([&] { go.Wait(kInfinite, 0); });
    Task second([&] { go.Wait(kInfinite, 0); });
    CThread one(kKillAlive);
    CThread other(kKillAlive);
    first.start(one, kJoinable);
    EXPECT_EQ(ThreadCounter, 2);
    second.start(other, kJoinable);
    EXPECT_EQ(ThreadCounter, 3);
    go.Set();
    one.WaitForTermination(kInfinite);
    other.WaitForTermination(kInfinite);
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_EQ(MaxActiveThread, 3);
}

TEST_F(MonitoredThread, TheStartIsRecordedBeforeTheExit) {
    for (int round = 0; round < 100; ++round) {
        auto [thread, entry] = make(kKeepAlive);
        Task task(nothing);
        task.start(*thread, kJoinable);
        task.awaitEnd();
        thread->WaitForTermination(kInfinite);
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
            CThread thread(kKeepAlive);
            ASSERT_TRUE(task.start(thread, kDetached));
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
    auto [thread, entry] = make(kKeepAlive);
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    task.start(*thread, kDetached);
    const TraceCapture trace;
    thread = nullptr;
    EXPECT_TRUE(trace.contains("of a running thread = "));
    go.Set();
    task.awaitEnd();
    EXPECT_EQ(ThreadCounter, 1) << "its exit is recorded all the same";
}

TEST_F(MonitoredThread, StoresItsName) {
    auto [thread, entry] = make(kKeepAlive);
    const TraceCapture trace;
    EXPECT_TRUE(thread->SetThreadName("worker", "first"));
    EXPECT_STREQ(entry->debugName.get(), "worker");
    EXPECT_STREQ(entry->qualifier.get(), "first");
    EXPECT_THAT(trace.messages(),
                ElementsAre("CThread::SetThreadName: ThreadId = 0x00000000, DebugName = worker, "
                            "Qualifier = (first)"));
}

TEST_F(MonitoredThread, AFailedStartIsNeitherRecordedNorCounted) {
    auto [thread, entry] = make(kKeepAlive);
    Task task(nothing);
    {
        const FailingCall failure(PlatformCall::ThreadCreate, EAGAIN);
        EXPECT_FALSE(task.start(*thread, kJoinable));
    }
    EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1));
    EXPECT_EQ(entry->thread, 0U);
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_EQ(MaxActiveThread, 1);
}

TEST_F(MonitoredThread, RecordsAJoinThatFailedAsBegun) {
    auto [thread, entry] = make(kKeepAlive);
    CThread& object = *thread;
    Task task([&] { EXPECT_FALSE(object.Kill(0)); });
    task.start(object, kJoinable);
    task.awaitEnd();
    EXPECT_THAT(history(*entry), ElementsAre(0x0, 0x1, 0x11, 0x10011, 0x10101));
    EXPECT_EQ(entry->joiner, task.id());
    EXPECT_TRUE(object.WaitForTermination(kInfinite));
}

TEST_F(MonitoredThread, RecordsACancellationThatFailedAsRequested) {
    auto [thread, entry] = make(kKeepAlive);
    CEvent go(0, 1, nullptr);
    Task task([&] { go.Wait(kInfinite, 0); });
    task.start(*thread, kDetached);
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
    auto [thread, entry] = make(kKeepAlive);
    Task task(nothing);
    task.start(*thread, kJoinable);
    thread->WaitForTermination(kInfinite);
    EXPECT_EQ(ThreadCounter, 1);
    const TraceCapture trace(1);
    task.start(*thread, kJoinable);
    thread->WaitForTermination(kInfinite);
    EXPECT_EQ(ThreadCounter, 2);
    EXPECT_EQ(entry->thread, task.id());
    EXPECT_TRUE(trace.contains("Don't touch an old entry")) << trace.text();
    EXPECT_TRUE(trace.contains("no corresponding entry"));
}

TEST_F(MonitoredThread, TheFiveHundredAndThirteenthObjectWorksWithoutRecords) {
    const TraceCapture quiet(0);
    for (int count = 0; count < 512; ++count) {
        ASSERT_NE(monitor_->RegisterEntry(), nullptr);
    }
    const TraceCapture trace(1);
    CThread thread(kKeepAlive);
    EXPECT_THAT(trace.messages(),
                ElementsAre("CTHREADMONITOR::RegisterEntry(): WARNING: cannot create an entry in "
                            "CTHREADMONITOR (max value exceeded)",
                            "CThread::KillStillAliveThread=TRUE: RegisterEntry returned "
                            "ThreadMonHandle = NULL"));
    Task task(nothing);
    EXPECT_TRUE(task.start(thread, kJoinable));
    EXPECT_TRUE(thread.WaitForTermination(kInfinite));
    EXPECT_TRUE(task.ended());
    EXPECT_FALSE(thread.SetThreadName("worker", "last"));
    EXPECT_EQ(ThreadCounter, 2) << "counted in, but no entry counts it out";
}

}  // namespace
}  // namespace varnock::test
