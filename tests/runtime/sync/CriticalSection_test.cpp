#include "runtime/CriticalSection.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <array>
#include <atomic>
#include <cstring>
#include <new>

#include "runtime/Event.h"
#include "tests/support/FailingCall.h"
#include "tests/support/PosixThread.h"

namespace {

using varnock::test::FailingCall;
using varnock::test::PlatformCall;
using varnock::test::PosixThread;

/// A section in raw storage, which can be used before its construction and after its destruction.
class SectionStorage {
  public:
    CCriticalSection& section() { return *std::launder(address()); }
    CCriticalSection& construct() { return *new (bytes_.data()) CCriticalSection; }
    void fill(unsigned char byte) { std::memset(bytes_.data(), byte, bytes_.size()); }
    /// The fields behind the mutex: owner, count, initialised.
    bool stateIsZero() const {
        for (std::size_t at = sizeof(pthread_mutex_t); at < bytes_.size(); ++at) {
            if (bytes_[at] != 0) {
                return false;
            }
        }
        return true;
    }

  private:
    CCriticalSection* address() { return reinterpret_cast<CCriticalSection*>(bytes_.data()); }

    alignas(CCriticalSection) std::array<unsigned char, sizeof(CCriticalSection)> bytes_{};
};

/// True if another thread can enter the section. If not, `release` must let it in.
class Contender {
  public:
    explicit Contender(CCriticalSection& section)
        : thread_([this, &section] {
              section.Enter();
              entered_ = true;
              section.Leave();
          }) {}

    bool enteredAfterManyTurns() {
        for (int turn = 0; turn < 200; ++turn) {
            sched_yield();
        }
        return entered_;
    }
    bool entered() {
        thread_.join();
        return entered_;
    }

  private:
    std::atomic<bool> entered_ = false;
    PosixThread thread_;
};

TEST(CriticalSection, IsReleasedOnlyByTheLastLeave) {
    CCriticalSection section;
    section.Enter();
    section.Enter();
    section.Leave();
    Contender contender(section);
    EXPECT_FALSE(contender.enteredAfterManyTurns());
    section.Leave();
    EXPECT_TRUE(contender.entered());
}

TEST(CriticalSection, IgnoresLeaveOfAnotherThread) {
    CCriticalSection section;
    section.Enter();
    PosixThread([&] { section.Leave(); }).join();
    Contender contender(section);
    EXPECT_FALSE(contender.enteredAfterManyTurns());
    section.Leave();
    EXPECT_TRUE(contender.entered());
}

TEST(CriticalSection, IgnoresLeaveWhenFree) {
    CCriticalSection section;
    section.Leave();
    section.Enter();
    section.Leave();
    EXPECT_TRUE(Contender(section).entered());
}

TEST(CriticalSection, LetsOneThreadInAtATime) {
    CCriticalSection section;
    long guarded = 0;
    constexpr long rounds = 5000;
    const auto work = [&] {
        for (long round = 0; round < rounds; ++round) {
            const CriticalSectionGuard outer(section);
            const CriticalSectionGuard inner(section);
            ++guarded;
        }
    };
    {
        PosixThread first(work);
        PosixThread second(work);
    }
    EXPECT_EQ(guarded, 2 * rounds);
}

TEST(CriticalSection, FilledWithZerosOnlyCounts) {
    SectionStorage storage;
    CCriticalSection& section = storage.section();
    section.Enter();
    section.Enter();
    section.Leave();
    EXPECT_TRUE(Contender(section).entered());
    EXPECT_FALSE(storage.stateIsZero()) << "the calls of Enter have been counted";
    section.CleanupHandlerForMutex();
    EXPECT_FALSE(storage.stateIsZero()) << "neither Leave nor the clean-up takes them back";
}

TEST(CriticalSection, ConstructionResetsTheCountOfTheZeroFilledSection) {
    SectionStorage storage;
    storage.section().Enter();
    CCriticalSection& section = storage.construct();
    section.Enter();
    section.Leave();
    EXPECT_TRUE(Contender(section).entered());
    section.~CCriticalSection();
}

TEST(CriticalSection, ConstructionSetsEveryFieldOfUsedStorage) {
    SectionStorage storage;
    storage.fill(0xFF);
    CCriticalSection& section = storage.construct();
    section.Enter();
    section.Leave();
    EXPECT_TRUE(Contender(section).entered());
    section.~CCriticalSection();
}

TEST(CriticalSection, WithoutItsMutexOnlyCounts) {
    SectionStorage storage;
    {
        const FailingCall failure(PlatformCall::MutexInit, ENOMEM);
        storage.construct();
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_TRUE(storage.stateIsZero());
    CCriticalSection& section = storage.section();
    section.Enter();
    EXPECT_FALSE(storage.stateIsZero());
    EXPECT_TRUE(Contender(section).entered());
    section.CleanupHandlerForMutex();
    section.~CCriticalSection();
    EXPECT_TRUE(storage.stateIsZero());
}

TEST(CriticalSection, DestroyedIsAllZeroAndOnlyCounts) {
    SectionStorage storage;
    storage.construct().~CCriticalSection();
    EXPECT_TRUE(storage.stateIsZero());
    storage.section().Enter();
    EXPECT_TRUE(Contender(storage.section()).entered());
    storage.section().Leave();
}

TEST(CriticalSection, DestructionReleasesTheLockOfTheDestroyingThread) {
    SectionStorage storage;
    CCriticalSection& section = storage.construct();
    section.Enter();
    section.Enter();
    section.~CCriticalSection();
    EXPECT_TRUE(storage.stateIsZero());
}

TEST(CriticalSection, CleanupReleasesWhateverTheCount) {
    CCriticalSection section;
    section.Enter();
    section.Enter();
    CleanupHandlerForCritSecMutex(&section);
    EXPECT_TRUE(Contender(section).entered());
    section.Enter();
    section.Leave();
    EXPECT_TRUE(Contender(section).entered());
}

TEST(CriticalSection, CleanupOfANonOwnerHasNoEffect) {
    CCriticalSection section;
    section.Enter();
    PosixThread([&] { section.CleanupHandlerForMutex(); }).join();
    Contender contender(section);
    EXPECT_FALSE(contender.enteredAfterManyTurns());
    section.Leave();
    EXPECT_TRUE(contender.entered());
}

/// Blocks for ever, but can be cancelled.
void waitToBeCancelled(std::atomic<bool>& ready) {
    CEvent never(0, 0, nullptr);
    ready = true;
    never.Wait(0xFFFFFFFF, 0);
}

void cancelWhenReady(PosixThread& thread, const std::atomic<bool>& ready) {
    while (!ready) {
        sched_yield();
    }
    thread.cancel();
    EXPECT_TRUE(thread.join());
}

TEST(CriticalSection, ACancelledThreadReleasesThroughTheArmedCleanup) {
    CCriticalSection section;
    std::atomic<bool> ready = false;
    PosixThread thread([&] {
        pthread_cleanup_push(CleanupHandlerForCritSecMutex, &section);
        section.Enter();
        section.Enter();
        waitToBeCancelled(ready);
        pthread_cleanup_pop(1);
    });
    cancelWhenReady(thread, ready);
    EXPECT_TRUE(Contender(section).entered());
}

TEST(CriticalSection, ACancelledThreadReleasesThroughNestedGuards) {
    CCriticalSection section;
    std::atomic<bool> ready = false;
    PosixThread thread([&] {
        const CriticalSectionGuard outer(section);
        const CriticalSectionGuard inner(section);
        waitToBeCancelled(ready);
    });
    cancelWhenReady(thread, ready);
    EXPECT_TRUE(Contender(section).entered());
}

TEST(CriticalSection, ACleanupArmedTwiceDoesNotReleaseTheNextOwner) {
    CCriticalSection section;
    section.Enter();
    PosixThread thread([&] {
        section.CleanupHandlerForMutex();
        section.CleanupHandlerForMutex();
    });
    thread.join();
    Contender contender(section);
    EXPECT_FALSE(contender.enteredAfterManyTurns());
    section.Leave();
    EXPECT_TRUE(contender.entered());
}

}  // namespace
