#include "runtime/SyncWrappers.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <atomic>

#include "runtime/process/Clock.h"
#include "tests/support/FakeClock.h"
#include "tests/support/PosixThread.h"

namespace {

using varnock::test::FakeClock;
using varnock::test::PosixThread;

TEST(SyncWrappers, LockAndUnlockAMutex) {
    pthread_mutex_t mutex;
    ASSERT_EQ(MutexInit(&mutex), 0);
    EXPECT_EQ(MutexLock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), EBUSY);
    EXPECT_EQ(MutexUnlock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0);
    EXPECT_EQ(MutexUnlock(&mutex), 0);
    EXPECT_EQ(MutexDestroy(&mutex), 0);
}

TEST(SyncWrappers, SignalACondition) {
    pthread_cond_t condition;
    ASSERT_EQ(CondInit(&condition), 0);
    EXPECT_EQ(CondSignal(&condition), 0);
    EXPECT_EQ(CondBroadcast(&condition), 0);
    EXPECT_EQ(CondDestroy(&condition), 0);
}

TEST(SyncWrappers, CountWithASemaphore) {
    sem_t semaphore;
    ASSERT_EQ(SemInit(&semaphore, 0, 1), 0);
    EXPECT_EQ(SemWait(&semaphore), 0);
    EXPECT_EQ(SemTrywait(&semaphore), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(SemPost(&semaphore), 0);
    EXPECT_EQ(SemTrywait(&semaphore), 0);
    EXPECT_EQ(SemDestroy(&semaphore), 0);
}

TEST(SyncWrappers, ReturnTheResultOfTheCall) {
    sem_t semaphore;
    EXPECT_EQ(SemInit(&semaphore, 0, ~0U), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(SchedYield(), 0);
    EXPECT_TRUE(pthread_equal(ThreadSelf(), pthread_self()));
}

/// The mutex, the condition and the number of waiters of an event.
class Waiting : public testing::Test {
  protected:
    void enter() {
        MutexLock(&mutex_);
        ++waiters_;
    }
    unsigned int waiters() {
        MutexLock(&mutex_);
        const unsigned int count = waiters_;
        MutexUnlock(&mutex_);
        return count;
    }
    void cancelWhenWaiting(PosixThread& thread) {
        while (waiters() == 0) {
            sched_yield();
        }
        thread.cancel();
        EXPECT_TRUE(thread.join());
    }

    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
    unsigned int waiters_ = 0;
};

TEST_F(Waiting, ReturnsWithTheMutexAndTheCountAfterASignal) {
    int result = -1;
    PosixThread thread([&] {
        enter();
        result = CondWaitExtended(&condition_, &mutex_, &waiters_);
        --waiters_;
        MutexUnlock(&mutex_);
    });
    while (waiters() == 0) {
        sched_yield();
    }
    CondSignal(&condition_);
    thread.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(waiters(), 0U);
}

TEST_F(Waiting, ReturnsWithTheMutexAndTheCountAfterTheDeadline) {
    FakeClock clock;
    clock.expireWaits();
    timespec deadline = clock.wallTime();
    deadline.tv_sec += 60;
    enter();
    EXPECT_EQ(CondTimedWaitExtended(&condition_, &mutex_, &deadline, &waiters_), ETIMEDOUT);
    EXPECT_EQ(pthread_mutex_trylock(&mutex_), EBUSY);
    EXPECT_EQ(waiters_, 1U);
    EXPECT_EQ(clock.elapsed().count(), 60'000);
    MutexUnlock(&mutex_);
}

TEST_F(Waiting, ACancelledThreadLeavesMutexAndCount) {
    PosixThread thread([&] {
        enter();
        CondWaitExtended(&condition_, &mutex_, &waiters_);
    });
    cancelWhenWaiting(thread);
    EXPECT_EQ(waiters(), 0U);
}

TEST_F(Waiting, AThreadCancelledInATimedWaitLeavesMutexAndCount) {
    timespec deadline = varnock::Clock::instance().wallTime();
    deadline.tv_sec += 3600;
    PosixThread thread([&] {
        enter();
        CondTimedWaitExtended(&condition_, &mutex_, &deadline, &waiters_);
    });
    cancelWhenWaiting(thread);
    EXPECT_EQ(waiters(), 0U);
}

TEST_F(Waiting, TheCleanupsUndoOneWaiterAndTheLock) {
    enter();
    CleanupForCancelledCondWaitExtended(&waiters_);
    EXPECT_EQ(waiters_, 0U);
    CleanupForCancelledCondWait(&mutex_);
    EXPECT_EQ(pthread_mutex_trylock(&mutex_), 0);
    MutexUnlock(&mutex_);
}

}  // namespace
