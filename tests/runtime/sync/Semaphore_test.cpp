#include "runtime/Semaphore.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>

#include <atomic>
#include <memory>

#include "tests/support/DeliberateLeak.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"

namespace {

using varnock::test::DeliberateLeak;
using varnock::test::FailingAllocation;
using varnock::test::FailingCall;
using varnock::test::PlatformCall;
using varnock::test::PosixThread;

constexpr unsigned int kInfinite = 0xFFFFFFFF;

/// The value of the semaphore, which stays unchanged.
long valueOf(CSemaphore& semaphore) {
    long value = 0;
    while (semaphore.Wait(0) == 0) {
        ++value;
    }
    if (value > 0) {
        semaphore.Release(value);
    }
    return value;
}

bool isNamed(const char* name) {
    const CriticalSectionGuard lock(CEvent::Spinlock);
    return CSemaphore::NamedSemaphoreMap.lookup(name, nullptr) != nullptr;
}

TEST(Semaphore, WithoutSemaphoreEveryOperationFails) {
    CSemaphore semaphore;
    EXPECT_EQ(semaphore.Wait(0), -1);
    EXPECT_EQ(semaphore.Wait(kInfinite), -1);
    EXPECT_EQ(semaphore.Release(1), 0);
    EXPECT_EQ(semaphore.Delete(), 0);
}

TEST(Semaphore, CountsDownToZero) {
    CSemaphore semaphore;
    EXPECT_EQ(semaphore.Create(2, 5, nullptr, nullptr), 1);
    EXPECT_EQ(semaphore.Wait(kInfinite), 0);
    EXPECT_EQ(semaphore.Wait(1), 0);
    EXPECT_EQ(semaphore.Wait(0), 102);
}

TEST(Semaphore, AFailedAttemptTellsByItsTimeout) {
    CSemaphore semaphore;
    semaphore.Create(0, 1, nullptr, nullptr);
    EXPECT_EQ(semaphore.Wait(0), 102);
    EXPECT_EQ(semaphore.Wait(1), -1) << "one attempt, no waiting";
    EXPECT_EQ(semaphore.Wait(0xFFFFFFFE), -1);
}

TEST(Semaphore, ReleaseMayRaiseTheValueAboveTheMaximum) {
    CSemaphore semaphore;
    semaphore.Create(1, 1, nullptr, nullptr);
    EXPECT_EQ(semaphore.Release(3), 1);
    EXPECT_EQ(valueOf(semaphore), 4);
}

TEST(Semaphore, ReleaseOfNothingFails) {
    CSemaphore semaphore;
    semaphore.Create(1, 1, nullptr, nullptr);
    EXPECT_EQ(semaphore.Release(0), 0);
    EXPECT_EQ(semaphore.Release(-1), 0);
    EXPECT_EQ(semaphore.Release(LONG_MAX), 0);
    EXPECT_EQ(valueOf(semaphore), 1);
}

TEST(Semaphore, ReleaseFailsAtTheHighestValue) {
    CSemaphore semaphore;
    ASSERT_EQ(semaphore.Create(SEM_VALUE_MAX, SEM_VALUE_MAX, nullptr, nullptr), 1);
    EXPECT_EQ(semaphore.Release(5), 0);
    EXPECT_EQ(semaphore.Wait(kInfinite), 0);
    EXPECT_EQ(semaphore.Release(1), 1);
}

TEST(Semaphore, RefusesCountsThatCannotBe) {
    CSemaphore semaphore;
    EXPECT_EQ(semaphore.Create(-1, 1, "refused", nullptr), 0);
    EXPECT_EQ(semaphore.Create(1, -1, "refused", nullptr), 0);
    EXPECT_EQ(semaphore.Create(0, SEM_VALUE_MAX + 1L, "refused", nullptr), 0);
    EXPECT_FALSE(isNamed("refused"));
    EXPECT_EQ(semaphore.Wait(0), -1);
}

TEST(Semaphore, AnInitialCountAboveTheMaximumGivesTheMaximum) {
    CSemaphore semaphore;
    EXPECT_EQ(semaphore.Create(9, 3, nullptr, nullptr), 1);
    EXPECT_EQ(valueOf(semaphore), 3);
}

TEST(Semaphore, ObjectsOfOneNameShareOneValue) {
    CSemaphore one;
    CSemaphore other;
    EXPECT_EQ(one.Create(1, 1, "shared", nullptr), 1);
    EXPECT_EQ(other.Create(-5, -5, "shared", nullptr), 1) << "the counts do not matter";
    EXPECT_EQ(other.Wait(0), 0);
    EXPECT_EQ(one.Wait(0), 102);
}

TEST(Semaphore, UnnamedSemaphoresAreApart) {
    CSemaphore one;
    CSemaphore other;
    one.Create(1, 1, nullptr, nullptr);
    other.Create(0, 1, nullptr, nullptr);
    EXPECT_EQ(one.Wait(0), 0);
    EXPECT_EQ(other.Wait(0), 102);
}

TEST(Semaphore, DeleteSucceedsForTheLastReferenceAndFreesTheName) {
    CSemaphore one;
    CSemaphore other;
    one.Create(1, 1, "deleted", nullptr);
    other.Create(1, 1, "deleted", nullptr);
    EXPECT_EQ(one.Delete(), 0) << "others still refer to it";
    EXPECT_EQ(one.Wait(0), -1) << "the object has forgotten it";
    EXPECT_TRUE(isNamed("deleted"));
    EXPECT_EQ(other.Delete(), 1);
    EXPECT_FALSE(isNamed("deleted"));
    EXPECT_EQ(other.Delete(), 0);
}

TEST(Semaphore, DestructionGivesTheReferenceBack) {
    auto one = std::make_unique<CSemaphore>();
    CSemaphore other;
    one->Create(2, 2, "destroyed", nullptr);
    other.Create(0, 0, "destroyed", nullptr);
    one = nullptr;
    EXPECT_EQ(valueOf(other), 2);
    EXPECT_EQ(other.Delete(), 1);
}

TEST(Semaphore, CreateReplacesASemaphoreOfItsOwn) {
    CSemaphore semaphore;
    semaphore.Create(5, 5, "first", nullptr);
    EXPECT_EQ(semaphore.Create(1, 1, "second", nullptr), 1);
    EXPECT_FALSE(isNamed("first"));
    EXPECT_EQ(valueOf(semaphore), 1);
}

TEST(Semaphore, CreateFailsWhileOthersReferToTheOneBefore) {
    CSemaphore one;
    CSemaphore other;
    one.Create(5, 5, "kept", nullptr);
    other.Create(5, 5, "kept", nullptr);
    EXPECT_EQ(one.Create(1, 1, "not-made", nullptr), 0);
    EXPECT_FALSE(isNamed("not-made"));
    EXPECT_EQ(one.Wait(0), -1);
    EXPECT_EQ(valueOf(other), 5);
}

TEST(Semaphore, CreateWithCountsThatCannotBeStillDeletesTheOneBefore) {
    CSemaphore semaphore;
    semaphore.Create(1, 1, "given-up", nullptr);
    EXPECT_EQ(semaphore.Create(-1, 1, nullptr, nullptr), 0);
    EXPECT_FALSE(isNamed("given-up"));
}

TEST(Semaphore, CreateOfAnExistingNameKeepsTheReferenceBefore) {
    CSemaphore holder;
    CSemaphore moving;
    holder.Create(1, 1, "target", nullptr);
    {
        const DeliberateLeak leak;
        moving.Create(1, 1, "origin", nullptr);
    }
    EXPECT_EQ(moving.Create(1, 1, "target", nullptr), 1);
    CSemaphore keeper;
    keeper.Create(0, 0, "origin", nullptr);
    EXPECT_EQ(keeper.Delete(), 0) << "the reference that was not given back counts";
    EXPECT_EQ(holder.Delete(), 0);
    EXPECT_EQ(moving.Delete(), 1);
}

TEST(Semaphore, CreatingTheSameNameTwiceCountsTwice) {
    const DeliberateLeak leak;
    CSemaphore semaphore;
    CSemaphore other;
    semaphore.Create(1, 1, "twice", nullptr);
    semaphore.Create(1, 1, "twice", nullptr);
    EXPECT_EQ(semaphore.Delete(), 0);
    other.Create(1, 1, "twice", nullptr);
    EXPECT_EQ(other.Delete(), 0);
    EXPECT_TRUE(isNamed("twice"));
}

TEST(Semaphore, LackOfMemoryLeavesNoSemaphoreAndNoName) {
    CSemaphore semaphore;
    std::size_t n = 1;
    while (true) {
        const FailingAllocation failure(n);
        const int result = semaphore.Create(1, 1, "no-memory", nullptr);
        if (!failure.happened()) {
            EXPECT_EQ(result, 1);
            break;
        }
        EXPECT_EQ(result, 0);
        EXPECT_EQ(semaphore.Wait(0), -1);
        ++n;
    }
    EXPECT_GE(n, 4U) << "record, name and map";
}

TEST(Semaphore, AFailedInitialisationLeavesNoSemaphoreAndNoName) {
    CSemaphore semaphore;
    const FailingCall failure(PlatformCall::SemInit, ENOSPC);
    EXPECT_EQ(semaphore.Create(1, 1, "not-initialised", nullptr), 0);
    EXPECT_TRUE(failure.happened());
    EXPECT_FALSE(isNamed("not-initialised"));
    EXPECT_EQ(semaphore.Wait(0), -1);
}

TEST(Semaphore, WaitBlocksUntilARelease) {
    CSemaphore semaphore;
    semaphore.Create(0, 1, nullptr, nullptr);
    std::atomic<bool> taken = false;
    PosixThread waiter([&] {
        EXPECT_EQ(semaphore.Wait(kInfinite), 0);
        taken = true;
    });
    for (int turn = 0; turn < 200; ++turn) {
        sched_yield();
    }
    EXPECT_FALSE(taken);
    semaphore.Release(1);
    waiter.join();
    EXPECT_TRUE(taken);
}

void ignoreSignal(int) {}

TEST(Semaphore, WaitGoesOnAfterAnInterruption) {
    struct sigaction action {};
    action.sa_handler = ignoreSignal;  // without SA_RESTART, so the wait is interrupted
    sigaction(SIGUSR1, &action, nullptr);
    CSemaphore semaphore;
    semaphore.Create(0, 1, nullptr, nullptr);
    std::atomic<pthread_t> thread = 0;
    PosixThread waiter([&] {
        thread = pthread_self();
        EXPECT_EQ(semaphore.Wait(kInfinite), 0);
    });
    while (thread == 0) {
        sched_yield();
    }
    for (int round = 0; round < 20; ++round) {
        pthread_kill(thread, SIGUSR1);
        sched_yield();
    }
    semaphore.Release(1);
    waiter.join();
}

TEST(Semaphore, AWaitCanBeCancelled) {
    CSemaphore semaphore;
    semaphore.Create(0, 1, nullptr, nullptr);
    std::atomic<bool> begun = false;
    PosixThread waiter([&] {
        begun = true;
        semaphore.Wait(kInfinite);
    });
    while (!begun) {
        sched_yield();
    }
    waiter.cancel();
    EXPECT_TRUE(waiter.join());
    semaphore.Release(1);
    EXPECT_EQ(semaphore.Wait(0), 0) << "the cancelled thread has taken nothing";
}

TEST(Semaphore, NamesMayComeAndGoInManyThreads) {
    const auto work = [&] {
        for (int round = 0; round < 200; ++round) {
            CSemaphore semaphore;
            ASSERT_EQ(semaphore.Create(0, 0, "crowded", nullptr), 1);
            semaphore.Release(1);
            EXPECT_EQ(semaphore.Wait(kInfinite), 0);
        }
    };
    {
        PosixThread first(work);
        PosixThread second(work);
    }
    EXPECT_FALSE(isNamed("crowded"));
}

}  // namespace
