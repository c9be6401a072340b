#include "runtime/trace/TraceQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "runtime/trace/TraceLock.h"
#include "tests/support/QuietDebug.h"
#include "tests/support/SleepingThread.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TraceFile.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

class TraceQueues : public testing::Test {
  protected:
    TraceQueues() {
        setenv("QX_LOG_RINGBUF_DIR", directory_.path().c_str(), 1);
        DebugTestAccess::init(*debug_, {255, 1, 1, 1, ""});
        begin_ = file().position();
    }
    ~TraceQueues() override { unsetenv("QX_LOG_RINGBUF_DIR"); }

    TraceFile file() const { return TraceFile(directory_.file("log.CIM_Provider_a")); }
    std::vector<std::string> messages() const { return file().messages(begin_, file().position()); }

    /// Starts a thread that writes "other", and waits until it sleeps in front of the trace lock,
    /// which the caller holds.
    std::thread writeAndWait() {
        std::atomic<pid_t> id{0};
        std::thread writer([&] {
            id = gettid();
            debug_->Print(1, "other");
        });
        while (id == 0 || !isAsleep(id)) {
            std::this_thread::yield();
        }
        return writer;
    }

    const TemporaryDirectory directory_;
    QuietDebug debug_;
    std::int64_t begin_ = 0;
};

TEST_F(TraceQueues, HavePlacedAnEntryWhenItsThreadGoesOn) {
    std::atomic<int> missing{0};
    std::vector<std::thread> writers;
    for (int id = 0; id < 3; ++id) {
        writers.emplace_back([&, id] {
            for (int n = 0; n < 40; ++n) {
                const std::string text = std::to_string(id) + " " + std::to_string(n);
                debug_->Print(1, "%s", text.c_str());
                const auto all = messages();
                missing += static_cast<int>(std::count(all.begin(), all.end(), text) != 1);
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(missing, 0);
    EXPECT_EQ(messages().size(), 120U);
}

TEST_F(TraceQueues, KeepTheEntriesOfOthersOutOfSeveralOfOne) {
    std::thread writer;
    {
        const SeveralEntries together;
        writer = writeAndWait();
        for (int n = 0; n < 100; ++n) {
            debug_->Print(1, "line");
        }
    }
    writer.join();
    std::vector<std::string> expected(100, "line");
    expected.emplace_back("other");
    EXPECT_EQ(messages(), expected);
}

// Whether the thread that waits is the first to get the lock, or this one, which places both.
TEST_F(TraceQueues, PlaceAWaitingEntryOnce) {
    for (int round = 0; round < 50; ++round) {
        std::thread writer;
        {
            const CriticalSectionGuard lock(traceLock());
            writer = writeAndWait();
        }
        for (int n = 0; n < 40; ++n) {
            debug_->Print(1, "own");
        }
        writer.join();
    }
    const auto all = messages();
    EXPECT_EQ(std::count(all.begin(), all.end(), "other"), 50);
    EXPECT_EQ(std::count(all.begin(), all.end(), "own"), 2000);
    EXPECT_EQ(all.size(), 2050U);
}

// The child writes at a position of its own, so the parent overwrites its entries.
TEST_F(TraceQueues, LeaveTheEntriesOfTheParentToIt) {
    std::optional<SeveralEntries> together(std::in_place);
    std::thread writer = writeAndWait();
    const pid_t child = fork();
    if (child == 0) {
        together.reset();
        for (int n = 0; n < 100; ++n) {
            debug_->Print(1, "child");
        }
        const auto all = messages();
        _exit(std::count(all.begin(), all.end(), "child") == 100 && all.size() == 100 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    together.reset();
    writer.join();
    EXPECT_THAT(messages(), ElementsAre("other"));
}

TEST_F(TraceQueues, PlaceTheEntryOfAThreadThatIsBeingCancelled) {
    std::thread writer;
    {
        const CriticalSectionGuard lock(traceLock());
        writer = writeAndWait();
        pthread_cancel(writer.native_handle());
    }
    writer.join();
    EXPECT_THAT(messages(), ElementsAre("other"));
}

}  // namespace
}  // namespace varnock::test
