#include "runtime/ThreadMonitor.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"
#include "tests/support/TraceCapture.h"

namespace {

using testing::ElementsAre;
using varnock::test::FailingAllocation;
using varnock::test::FailingCall;
using varnock::test::PlatformCall;
using varnock::test::PosixThread;
using varnock::test::TraceCapture;
using Entry = CThreadMonitorEntry;
using Monitor = CThreadMonitor;

template <typename... Arguments>
std::string text(const char* format, Arguments... arguments) {
    char buffer[300];
    std::snprintf(buffer, sizeof buffer, format, arguments...);
    return buffer;
}

unsigned int number(pthread_t thread) {
    return static_cast<unsigned int>(thread);
}

class ThreadMonitor : public testing::Test {
  protected:
    ThreadMonitor() {
        ThreadCounter = 1;
        MaxActiveThread = 1;
    }

    Entry* newEntry() { return monitor_->RegisterEntry(); }
    /// An entry that describes this thread as started.
    Entry* runningEntry() {
        Entry* entry = newEntry();
        monitor_->SetEntryValues(entry, pthread_self(), pthread_self(), 1, 0, 0, 1, 0, 0);
        monitor_->SetEntryStatus(entry, Monitor::Running);
        return entry;
    }
    static unsigned int entryStatus(const Entry& entry) {
        return entry.entryStatus[entry.statusCounter];
    }
    static unsigned int threadStatus(const Entry& entry) {
        return entry.threadStatus[entry.statusCounter];
    }
    void fillHistory(Entry* entry) {
        while (entry->statusCounter < 31) {
            monitor_->SetEntryStatus(entry, 0);
        }
    }

    std::unique_ptr<Monitor> monitor_ = std::make_unique<Monitor>();
};

TEST_F(ThreadMonitor, RegistersAFreshEntry) {
    const TraceCapture trace(1);
    Entry* entry = newEntry();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->statusCounter, 0U);
    EXPECT_EQ(entry->entryStatus[0], 1U);
    EXPECT_EQ(entry->threadStatus[0], 0U);
    EXPECT_EQ(entry->thread, 0U);
    EXPECT_EQ(entry->debugName, nullptr);
    EXPECT_THAT(trace.messages(),
                ElementsAre(text("CTHREADMONITOR::RegisterEntry(): new entry (pentry = %p) "
                                 "registered",
                                 static_cast<void*>(entry))));
}

TEST_F(ThreadMonitor, HoldsFiveHundredAndTwelveEntries) {
    const TraceCapture quiet(0);
    std::vector<Entry*> entries;
    for (int count = 0; count < 512; ++count) {
        entries.push_back(newEntry());
        ASSERT_NE(entries.back(), nullptr);
    }
    EXPECT_NE(entries.front(), entries.back());
    const TraceCapture trace(1);
    EXPECT_EQ(newEntry(), nullptr);
    EXPECT_EQ(newEntry(), nullptr);
    EXPECT_EQ(trace.count("CTHREADMONITOR::RegisterEntry(): WARNING: cannot create an entry in "
                          "CTHREADMONITOR (max value exceeded)"),
              2U);
}

TEST_F(ThreadMonitor, AnEntryWithoutMutexIsNotUsed) {
    {
        const TraceCapture trace(1);
        const FailingCall failure(PlatformCall::MutexInit, EAGAIN);
        EXPECT_EQ(newEntry(), nullptr);
        EXPECT_THAT(trace.messages(),
                    ElementsAre("CTHREADMONITOR::RegisterEntry(): WARNING: cannot create an entry "
                                "in CTHREADMONITOR (no entry mutex available)"));
    }
    for (int count = 0; count < 512; ++count) {
        ASSERT_NE(newEntry(), nullptr);
    }
}

TEST_F(ThreadMonitor, KeepsAHistoryOfBothStatuses) {
    Entry* entry = newEntry();
    EXPECT_TRUE(monitor_->SetEntryStatus(entry, Monitor::InstanceConstructed));
    EXPECT_TRUE(monitor_->SetEntryStatus(entry, Monitor::Running));
    EXPECT_TRUE(monitor_->SetEntryStatus(entry, Monitor::KillRequested));
    EXPECT_TRUE(monitor_->SetEntryStatus(entry, Monitor::Cancelled));
    EXPECT_EQ(entry->statusCounter, 4U);
    EXPECT_EQ(entry->threadStatus[0], 0x0U);
    EXPECT_EQ(entry->threadStatus[1], 0x1U);
    EXPECT_EQ(entry->threadStatus[2], 0x11U);
    EXPECT_EQ(entry->threadStatus[3], 0x1011U);
    EXPECT_EQ(entry->threadStatus[4], 0x3001U);
    EXPECT_EQ(entry->entryStatus[3], 0x1U);
    EXPECT_EQ(entry->entryStatus[4], 0x10000041U);
}

TEST_F(ThreadMonitor, StoppedClearsRunning) {
    Entry* entry = runningEntry();
    monitor_->SetEntryStatus(entry, Monitor::Stopped);
    EXPECT_EQ(threadStatus(*entry), 0x200U);
    EXPECT_EQ(entryStatus(*entry), 0x10000021U);
}

TEST_F(ThreadMonitor, JoinedClearsRunning) {
    Entry* entry = runningEntry();
    monitor_->SetEntryStatus(entry, Monitor::Joined);
    EXPECT_EQ(threadStatus(*entry), 0x20000U);
    EXPECT_EQ(entryStatus(*entry), 0x10000081U);
}

TEST_F(ThreadMonitor, TheHighestOfSeveralStatusesDecides) {
    Entry* entry = runningEntry();
    monitor_->SetEntryStatus(entry, Monitor::Stopped | Monitor::Joined | Monitor::Cancelled);
    EXPECT_EQ(entryStatus(*entry), 0x10000021U);
    Entry* other = newEntry();
    monitor_->SetEntryStatus(other, Monitor::Joined | Monitor::Cancelled);
    EXPECT_EQ(entryStatus(*other), 0x10000081U);
    Entry* destroyed = newEntry();
    monitor_->SetEntryStatus(destroyed, Monitor::InstanceDestroyed | Monitor::Stopped);
    EXPECT_EQ(entryStatus(*destroyed), 0x10000801U);
}

TEST_F(ThreadMonitor, DestructionClearsConstructed) {
    Entry* entry = newEntry();
    monitor_->SetEntryStatus(entry, Monitor::InstanceConstructed);
    const TraceCapture trace(1);
    monitor_->SetEntryStatus(entry, Monitor::InstanceDestroyed);
    EXPECT_EQ(threadStatus(*entry), 0x10000000U);
    EXPECT_EQ(entryStatus(*entry), 0x10000801U);
    EXPECT_EQ(trace.text(), "");
}

TEST_F(ThreadMonitor, WarnsWhenTheObjectOfARunningThreadIsDestroyed) {
    Entry* entry = runningEntry();
    const TraceCapture trace(1);
    monitor_->SetEntryStatus(entry, Monitor::InstanceDestroyed);
    EXPECT_THAT(trace.messages(),
                ElementsAre(text("CTHREADMONITOR::SetEntryStatus(): WARNING: Instance (%p) of a "
                                 "running thread = 0x%08X destroyed !!!",
                                 static_cast<void*>(entry), number(pthread_self()))));
    EXPECT_EQ(threadStatus(*entry), 0x10000010U) << "it still runs";
}

TEST_F(ThreadMonitor, CountsStartsAndTheirMaximum) {
    Entry* entry = newEntry();
    const TraceCapture trace(1);
    EXPECT_TRUE(monitor_->SetEntryStatus(entry, Monitor::Running));
    EXPECT_FALSE(monitor_->SetEntryStatus(nullptr, Monitor::Running)) << "counted all the same";
    EXPECT_EQ(ThreadCounter, 3);
    EXPECT_EQ(MaxActiveThread, 3);
    EXPECT_THAT(
        trace.messages(),
        ElementsAre("CTHREADMONITOR::SetEntryStatus(): ThreadCounter=2, MaxActiveThread=2",
                    "CTHREADMONITOR::SetEntryStatus(): ThreadCounter=3, MaxActiveThread=3"));
}

TEST_F(ThreadMonitor, TheMaximumNeverFalls) {
    runningEntry();
    EXPECT_TRUE(monitor_->SetEntryStatusExited());
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_EQ(MaxActiveThread, 2);
    const TraceCapture trace(1);
    Entry* again = newEntry();
    monitor_->SetEntryStatus(again, Monitor::Running);
    EXPECT_EQ(MaxActiveThread, 2);
    EXPECT_FALSE(trace.contains("MaxActiveThread"));
}

TEST_F(ThreadMonitor, KeepsTheLastSlotWhenTheHistoryIsFull) {
    Entry* entry = newEntry();
    fillHistory(entry);
    EXPECT_EQ(entry->statusCounter, 31U);
    const TraceCapture trace(1);
    EXPECT_TRUE(monitor_->SetEntryStatus(entry, Monitor::InstanceConstructed));
    EXPECT_EQ(entry->statusCounter, 31U);
    EXPECT_EQ(entry->threadStatus[31], 0x1U);
    EXPECT_TRUE(monitor_->SetEntryStatus(entry, Monitor::KillRequested));
    EXPECT_EQ(entry->threadStatus[31], 0x1000U) << "made from slot 30 again";
    EXPECT_EQ(entry->threadStatus[30], 0x0U);
    EXPECT_EQ(trace.count(text("CTHREADMONITOR::SetEntryStatus(): WARNING: Status Counter overflow "
                               "for Entry =%p !!!",
                               static_cast<void*>(entry))),
              2U);
}

TEST_F(ThreadMonitor, ThirtyOneChangesFitTheHistory) {
    Entry* entry = newEntry();
    const TraceCapture trace(1);
    fillHistory(entry);
    EXPECT_EQ(trace.text(), "");
}

TEST_F(ThreadMonitor, RecordsTheJoiner) {
    Entry* entry = runningEntry();
    pthread_t joiner{};
    PosixThread([&] {
        joiner = pthread_self();
        EXPECT_TRUE(monitor_->SetEntryJoinStatus(entry, Monitor::JoinBegun));
    }).join();
    EXPECT_EQ(entry->joiner, joiner);
    EXPECT_EQ(threadStatus(*entry), 0x10010U);
    EXPECT_EQ(entryStatus(*entry), 0x1U);
    EXPECT_TRUE(monitor_->SetEntryJoinStatus(entry, Monitor::Joined));
    EXPECT_EQ(entry->joiner, pthread_self());
    EXPECT_EQ(threadStatus(*entry), 0x30000U);
    EXPECT_EQ(entryStatus(*entry), 0x10000081U);
}

TEST_F(ThreadMonitor, AFullHistoryTakesJoinsInTheLastSlot) {
    Entry* entry = newEntry();
    fillHistory(entry);
    const TraceCapture trace(1);
    EXPECT_TRUE(monitor_->SetEntryJoinStatus(entry, Monitor::Joined));
    EXPECT_THAT(trace.messages(),
                ElementsAre(text("CTHREADMONITOR::SetEntryJoinStatus(): WARNING: Status Counter "
                                 "overflowfor Entry =%p !!!",
                                 static_cast<void*>(entry))));
    EXPECT_EQ(threadStatus(*entry), 0x20000U);
}

TEST_F(ThreadMonitor, StoresTheStartValues) {
    Entry* entry = newEntry();
    EXPECT_TRUE(monitor_->SetEntryValues(entry, 11, 12, 13, 14, 15, 16, 17, 18));
    EXPECT_EQ(entry->thread, 11U);
    EXPECT_EQ(entry->creator, 12U);
    EXPECT_EQ(entry->processId, 13);
    EXPECT_EQ(entry->priority, 14U);
    EXPECT_EQ(entry->stackSize, 15U);
    EXPECT_EQ(entry->waitable, 16);
    EXPECT_EQ(entry->startOption, 17);
    EXPECT_EQ(entry->killStillAlive, 18);
}

TEST_F(ThreadMonitor, StoresCopiesOfTheNames) {
    Entry* entry = newEntry();
    char name[] = "worker";
    EXPECT_TRUE(monitor_->SetEntryName(entry, name, "first"));
    name[0] = 'W';
    EXPECT_STREQ(entry->debugName.get(), "worker");
    EXPECT_STREQ(entry->qualifier.get(), "first");
    EXPECT_TRUE(monitor_->SetEntryName(entry, "other", nullptr));
    EXPECT_STREQ(entry->debugName.get(), "other");
    EXPECT_EQ(entry->qualifier, nullptr);
}

TEST_F(ThreadMonitor, KeepsTheNamesWithoutMemory) {
    Entry* entry = newEntry();
    monitor_->SetEntryName(entry, "worker", "first");
    for (const std::size_t n : {1U, 2U}) {
        const FailingAllocation failure(n);
        EXPECT_FALSE(monitor_->SetEntryName(entry, "other", "second"));
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_STREQ(entry->debugName.get(), "worker");
    EXPECT_STREQ(entry->qualifier.get(), "first");
}

TEST_F(ThreadMonitor, ANullEntryGivesFalse) {
    EXPECT_FALSE(monitor_->SetEntryStatus(nullptr, Monitor::Stopped));
    EXPECT_FALSE(monitor_->SetEntryJoinStatus(nullptr, Monitor::Joined));
    EXPECT_FALSE(monitor_->SetEntryValues(nullptr, 1, 1, 1, 1, 1, 1, 1, 1));
    EXPECT_FALSE(monitor_->SetEntryName(nullptr, "a", "b"));
    EXPECT_EQ(ThreadCounter, 1);
}

TEST_F(ThreadMonitor, RecordsTheExitOfTheCallingThread) {
    Entry* entry = runningEntry();
    const TraceCapture trace(1);
    EXPECT_TRUE(monitor_->SetEntryStatusExited());
    EXPECT_EQ(threadStatus(*entry), 0x100U);
    EXPECT_EQ(entryStatus(*entry), 0x10000011U);
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_THAT(trace.messages(),
                ElementsAre(text("CTHREADMONITOR::SetEntryStatusExited(): Status for entry, Handle "
                                 "= %p changed (EntryStatus = 0x10000011, ThreadStatus = "
                                 "0x00000100, ThreadId = 0x%08X, ThreadCounter = 1)",
                                 static_cast<void*>(entry), number(pthread_self()))));
}

TEST_F(ThreadMonitor, AnExitWithoutEntryIsTraced) {
    newEntry();
    const TraceCapture trace(1);
    EXPECT_FALSE(monitor_->SetEntryStatusExited());
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_THAT(trace.messages(),
                ElementsAre(text("CTHREADMONITOR::SetEntryStatusExited(): WARNING: no "
                                 "corresponding entry for ThreadId = 0x%08X found",
                                 number(pthread_self()))));
}

TEST_F(ThreadMonitor, TheExitOfAThreadWhoseObjectIsGoneIsStillRecorded) {
    Entry* entry = runningEntry();
    monitor_->SetEntryStatus(entry, Monitor::InstanceDestroyed);
    const TraceCapture trace(1);
    EXPECT_TRUE(monitor_->SetEntryStatusExited());
    EXPECT_EQ(threadStatus(*entry), 0x10000100U);
    EXPECT_EQ(entryStatus(*entry), 0x10000811U);
    EXPECT_EQ(trace.messages()[0],
              text("CTHREADMONITOR::SetEntryStatusExited(): WARNING: an old entry (Handle = %p, "
                   "EntryStatus = 0x10000801, ThreadStatus = 0x10000010) for ThreadId = 0x%08X "
                   "found",
                   static_cast<void*>(entry), number(pthread_self())));
}

TEST_F(ThreadMonitor, LeavesAnEntryWhoseThreadHasEndedAlone) {
    for (const unsigned int ended :
         {unsigned{Monitor::Stopped}, unsigned{Monitor::Joined}, unsigned{Monitor::Exited}}) {
        monitor_ = std::make_unique<Monitor>();
        Entry* old = runningEntry();
        if (ended == Monitor::Exited) {
            monitor_->SetEntryStatusExited();
        } else {
            monitor_->SetEntryStatus(old, ended);
        }
        const unsigned int before = threadStatus(*old);
        Entry* current = runningEntry();
        const TraceCapture trace(1);
        EXPECT_TRUE(monitor_->SetEntryStatusExited());
        EXPECT_EQ(threadStatus(*old), before);
        EXPECT_EQ(threadStatus(*current), 0x100U);
        EXPECT_EQ(trace.messages()[1],
                  text("CTHREADMONITOR::SetEntryStatusExited(): WARNING: Don't touch an old entry "
                       "(Handle = %p, EntryStatus = 0x%08x, ThreadStatus = 0x%08x, ThreadId = "
                       "0x%08X)",
                       static_cast<void*>(old), entryStatus(*old), before, number(pthread_self())));
    }
}

TEST_F(ThreadMonitor, AFullHistoryTakesTheExitInTheLastSlot) {
    Entry* entry = runningEntry();
    fillHistory(entry);
    const TraceCapture trace(1);
    EXPECT_TRUE(monitor_->SetEntryStatusExited());
    EXPECT_EQ(entry->statusCounter, 31U);
    EXPECT_EQ(threadStatus(*entry), 0x100U);
    EXPECT_EQ(trace.messages()[0],
              text("CTHREADMONITOR::SetEntryStatusExited(): WARNING: Status Counter overflow for "
                   "Entry =%p !!!",
                   static_cast<void*>(entry)));
}

TEST_F(ThreadMonitor, TracesAtLevelOne) {
    const TraceCapture trace(0);  // the other tests capture at 1
    Entry* entry = runningEntry();
    monitor_->SetEntryStatus(entry, Monitor::InstanceDestroyed);
    fillHistory(entry);
    monitor_->SetEntryJoinStatus(entry, Monitor::JoinBegun);
    monitor_->SetEntryStatus(entry, 0);
    EXPECT_TRUE(monitor_->SetEntryStatusExited());
    EXPECT_FALSE(monitor_->SetEntryStatusExited());
    {
        const FailingCall failure(PlatformCall::MutexInit, EAGAIN);
        EXPECT_EQ(newEntry(), nullptr);
    }
    while (newEntry() != nullptr) {
    }
    EXPECT_EQ(trace.text(), "");
}

TEST_F(ThreadMonitor, MayBeUsedByManyThreads) {
    const TraceCapture quiet(0);
    Entry* shared = newEntry();
    const auto work = [&] {
        for (int round = 0; round < 50; ++round) {
            Entry* own = monitor_->RegisterEntry();
            monitor_->SetEntryValues(own, pthread_self(), 0, 0, 0, 0, 0, 0, 0);
            monitor_->SetEntryStatus(own, Monitor::Running);
            monitor_->SetEntryName(shared, "name", "qualifier");
            monitor_->SetEntryJoinStatus(shared, Monitor::JoinBegun);
            EXPECT_TRUE(monitor_->SetEntryStatusExited());
        }
    };
    {
        PosixThread first(work);
        PosixThread second(work);
    }
    EXPECT_EQ(ThreadCounter, 1);
    EXPECT_GE(MaxActiveThread, 2);
}

}  // namespace
