#include "runtime/process/ForkLocks.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <thread>

#include "runtime/Debug.h"
#include "runtime/Synchronisation.h"
#include "tests/support/ForkedUse.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"

namespace varnock::test {
namespace {

class ForkedChildren : public testing::Test {
  protected:
    ForkedChildren() { Debug.ForceMaxDebug(0); }
};

TEST_F(ForkedChildren, Count) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    long counter = 0;
    expectToWorkInChildren([&] { return CInterLock::LockedIncrement(&counter) > 0; });
}

TEST_F(ForkedChildren, UseNamedEvents) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    CEvent event(1, 1, "forked");
    expectToWorkInChildren([&] { return event.IfSet() == 1; });
}

TEST_F(ForkedChildren, UseEventsWithoutAName) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    CEvent event(1, 1, nullptr);
    expectToWorkInChildren([&] { return event.IfSet() == 1 && event.Wait(0) == 0; });
}

TEST_F(ForkedChildren, MakeAndDestroyEvents) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    CEvent older(1, 1, nullptr);
    expectToWorkInChildren([&] {
        CEvent first(0, 0, "made");
        CEvent second(1, 1, nullptr);
        return second.IfSet() == 1 && older.IfSet() == 1;
    });
}

TEST_F(ForkedChildren, TakeLocksOfOtherRooms) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    std::array<Mutex, 3> mutexes;
    for (Mutex& mutex : mutexes) {
        addForkLock(mutex);
    }
    expectToWorkInChildren([&] {
        bool all = true;
        for (Mutex& mutex : mutexes) {
            const ScopedLock lock(mutex);
            all = all && lock.owns();
        }
        return all;
    });
    for (Mutex& mutex : mutexes) {
        removeForkLock(mutex);
    }
    const ScopedLock held(mutexes[1]);
    EXPECT_TRUE(worksInChild([] { return true; })) << "removed";
}

TEST_F(ForkedChildren, FindARenewedLockFreeThatAVanishedThreadHolds) {
    Mutex renewed;
    addRenewedLock(renewed);
    {
        std::atomic<bool> held = false;
        std::atomic<bool> done = false;
        std::thread holder([&] {
            const ScopedLock lock(renewed);
            held = true;
            while (!done) {
                std::this_thread::yield();
            }
        });
        while (!held) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(worksInChild([&] {
            const bool isFree = renewed.try_lock();
            if (isFree) {
                renewed.unlock();
            }
            return isFree;
        }));
        EXPECT_FALSE(renewed.try_lock()) << "in the parent it is still held";
        done = true;
        holder.join();
    }
    removeRenewedLock(renewed);
}

/// The thread sanitizer must not take a lock for held that was renewed: it would see it taken in
/// two orders.
TEST_F(ForkedChildren, TakeRenewedLocksInsideOthersAndOutside) {
    Mutex renewed;
    Mutex taken;
    addRenewedLock(renewed);
    addForkLock(taken);
    const auto inside = [&] {
        const ScopedLock outer(taken);
        const ScopedLock inner(renewed);
        return outer.owns() && inner.owns();
    };
    { const ScopedLock before(renewed); }
    EXPECT_TRUE(worksInChild([&] {
        { const ScopedLock alone(renewed); }
        return inside() && worksInChild(inside) && inside();
    }));
    EXPECT_TRUE(inside());
    removeForkLock(taken);
    removeRenewedLock(renewed);
}

TEST_F(ForkedChildren, HaveNoWaitersOfTheParent) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    auto event = std::make_unique<CEvent>(0, 0, nullptr);
    PosixThread waiter([&] { event->Wait(0xFFFFFFFF); });
    while (event->Create(0, 0, nullptr) == 1) {
        std::this_thread::yield();  // fails once it waits
    }
    EXPECT_TRUE(worksInChild([&] {
        const bool works = event->Create(0, 1, nullptr) == 1 && event->Set() == 1 &&
                           event->Wait(0) == 0 && event->Reset() == 1;
        event.reset();  // waits for no waiter
        return works;
    }));
    EXPECT_EQ(event->Set(), 1);
    EXPECT_FALSE(waiter.join());
}

TEST_F(ForkedChildren, LeaveTheStateOfTheParentAlone) {
    CEvent event(0, 1, "forked");
    EXPECT_TRUE(worksInChild([&] { return event.Set() == 1 && event.IfSet() == 1; }));
    EXPECT_EQ(event.IfSet(), 0);
}

}  // namespace
}  // namespace varnock::test
