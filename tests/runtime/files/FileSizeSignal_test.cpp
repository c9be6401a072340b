#include "runtime/files/FileSizeSignal.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "runtime/files/FileDescriptor.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::test {
namespace {

std::atomic<int> signalsTaken = 0;

/// A process with a file that it may not write, and a handler that counts the signals.
class FileSizeSignals : public testing::Test {
  protected:
    FileSizeSignals() {
        signal(SIGXFSZ, [](int) { ++signalsTaken; });
    }

    void writeTooMuch() const {
        const FileSizeLimit none(0);
        errno = 0;
        EXPECT_EQ(write(file_.get(), "x", 1), -1);
        EXPECT_EQ(errno, EFBIG);
    }
    static bool isBlocked() {
        sigset_t mask;
        sigemptyset(&mask);
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        return sigismember(&mask, SIGXFSZ) == 1;
    }
    static bool isPending() {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGXFSZ) == 1;
    }
    static void block(int how) {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGXFSZ);
        pthread_sigmask(how, &signals, nullptr);
    }

    TemporaryDirectory directory_;
    FileDescriptor file_{open(directory_.file("file").c_str(), O_WRONLY | O_CREAT, 0600)};
};

TEST_F(FileSizeSignals, ReachTheHostOutsideOfTheScope) {
    writeTooMuch();
    EXPECT_EQ(signalsTaken, 1);
}

TEST_F(FileSizeSignals, DoNotReachTheHostFromAScope) {
    {
        const FileSizeSignal scope;
        writeTooMuch();
        writeTooMuch();
        errno = EIO;
    }
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(signalsTaken, 0);
    EXPECT_FALSE(isPending());
    EXPECT_FALSE(isBlocked());
    writeTooMuch();
    EXPECT_EQ(signalsTaken, 1) << "the host gets its own ones";
}

TEST_F(FileSizeSignals, StayIgnoredWhereTheHostIgnoresThem) {
    signal(SIGXFSZ, SIG_IGN);
    {
        const FileSizeSignal scope;
        writeTooMuch();
    }
    EXPECT_FALSE(isPending());
    EXPECT_EQ(signal(SIGXFSZ, SIG_DFL), SIG_IGN);
}

TEST_F(FileSizeSignals, ThatTheHostHasBlockedStayPending) {
    block(SIG_BLOCK);
    pthread_kill(pthread_self(), SIGXFSZ);
    {
        const FileSizeSignal scope;
        writeTooMuch();
    }
    EXPECT_TRUE(isBlocked());
    EXPECT_TRUE(isPending());
    block(SIG_UNBLOCK);
    EXPECT_EQ(signalsTaken, 1);
}

TEST_F(FileSizeSignals, ReachOtherThreadsAsBefore) {
    const FileSizeSignal scope;
    std::thread([this] {
        block(SIG_UNBLOCK);
        writeTooMuch();
    }).join();
    EXPECT_EQ(signalsTaken, 1);
}

TEST_F(FileSizeSignals, MayBeHeldBackTwice) {
    {
        const FileSizeSignal outer;
        {
            const FileSizeSignal inner;
            writeTooMuch();
        }
        EXPECT_TRUE(isBlocked());
        writeTooMuch();
    }
    EXPECT_EQ(signalsTaken, 0);
    EXPECT_FALSE(isBlocked());
}

}  // namespace
}  // namespace varnock::test
