#include "runtime/InterLock.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/PosixThread.h"

namespace {

using varnock::test::PosixThread;

TEST(InterLock, ReturnsTheNewValue) {
    long value = 41;
    EXPECT_EQ(CInterLock::LockedIncrement(&value), 42);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(CInterLock::LockedDecrement(&value), 41);
    EXPECT_EQ(value, 41);
}

TEST(InterLock, CountsBelowZero) {
    long value = 0;
    EXPECT_EQ(CInterLock::LockedDecrement(&value), -1);
    EXPECT_EQ(CInterLock::LockedIncrement(&value), 0);
}

TEST(InterLock, WrapsAtTheLimits) {
    long value = std::numeric_limits<long>::max();
    EXPECT_EQ(CInterLock::LockedIncrement(&value), std::numeric_limits<long>::min());
    EXPECT_EQ(CInterLock::LockedDecrement(&value), std::numeric_limits<long>::max());
}

TEST(InterLock, GivesZeroForNull) {
    EXPECT_EQ(CInterLock::LockedIncrement(nullptr), 0);
    EXPECT_EQ(CInterLock::LockedDecrement(nullptr), 0);
}

TEST(InterLock, LosesNoCountBetweenThreads) {
    constexpr long rounds = 5000;
    long value = 0;
    const auto work = [&] {
        for (long round = 0; round < rounds; ++round) {
            CInterLock::LockedIncrement(&value);
            CInterLock::LockedIncrement(&value);
            CInterLock::LockedDecrement(&value);
        }
    };
    {
        PosixThread first(work);
        PosixThread second(work);
    }
    EXPECT_EQ(value, 2 * rounds);
}

TEST(InterLock, CountersStandStillWhileTheMutexIsHeld) {
    pthread_mutex_t* mutex = CInterLock::IncDecMutex();
    long value = 0;
    ASSERT_EQ(pthread_mutex_lock(mutex), 0);
    PosixThread other([&] { CInterLock::LockedIncrement(&value); });
    for (int turn = 0; turn < 100; ++turn) {
        sched_yield();
    }
    EXPECT_EQ(value, 0);
    pthread_mutex_unlock(mutex);
    other.join();
    EXPECT_EQ(value, 1);
    EXPECT_EQ(CInterLock::IncDecMutex(), mutex);
}

}  // namespace
