#include "util/Mutex.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>
#include <type_traits>

namespace {

using varnock::Mutex;
using varnock::ScopedLock;

bool isFreeForOthers(Mutex& mutex) {
    bool isFree = false;
    std::thread([&] {
        if (mutex.try_lock()) {
            mutex.unlock();
            isFree = true;
        }
    }).join();
    return isFree;
}

TEST(Mutex, OfStaticLifetimeIsNeitherBuiltNorDestroyed) {
    static constinit Mutex mutex;
    EXPECT_TRUE(isFreeForOthers(mutex));
    EXPECT_TRUE(std::is_trivially_destructible_v<Mutex>);
}

TEST(Mutex, KeepsOthersOutUntilItIsUnlocked) {
    Mutex mutex;
    EXPECT_TRUE(mutex.lock());
    EXPECT_FALSE(isFreeForOthers(mutex));
    mutex.unlock();
    EXPECT_TRUE(isFreeForOthers(mutex));
}

TEST(ScopedLock, HoldsTheMutexForTheScope) {
    Mutex mutex;
    {
        const ScopedLock lock(mutex);
        EXPECT_TRUE(lock.owns());
        EXPECT_FALSE(isFreeForOthers(mutex));
    }
    EXPECT_TRUE(isFreeForOthers(mutex));
}

TEST(ScopedLock, UnlocksBeforeTheEndAndOnlyOnce) {
    Mutex mutex;
    {
        ScopedLock lock(mutex);
        lock.unlock();
        EXPECT_FALSE(lock.owns());
        EXPECT_TRUE(isFreeForOthers(mutex));
        lock.lock();
        EXPECT_FALSE(isFreeForOthers(mutex));
        lock.unlock();
    }
    EXPECT_TRUE(isFreeForOthers(mutex));
}

TEST(ScopedLock, UnlocksWhenACancelledThreadUnwinds) {
    static Mutex mutex;
    pthread_t thread{};
    const auto waitForEver = [](void*) -> void* {
        const ScopedLock lock(mutex);
        pthread_cancel(pthread_self());
        pthread_testcancel();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, waitForEver, nullptr), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_TRUE(isFreeForOthers(mutex));
}

TEST(ScopedLock, FreesTheMutexWhileItWaitsForACondition) {
    Mutex mutex;
    std::condition_variable_any changed;
    bool isDone = false;
    ScopedLock lock(mutex);
    std::thread other([&] {
        const ScopedLock otherLock(mutex);
        isDone = true;
        changed.notify_one();
    });
    changed.wait(lock, [&isDone] { return isDone; });
    EXPECT_TRUE(lock.owns());
    EXPECT_FALSE(isFreeForOthers(mutex));
    other.join();
}

}  // namespace
