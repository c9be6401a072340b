#include "cli/Interrupts.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>

using std::chrono::nanoseconds;

// The waits of the handler, which take no time here: its limits are read instead.
namespace {

constexpr nanoseconds kNone{-1};
std::atomic<bool> recording = false;
std::atomic<nanoseconds> patience = kNone;    ///< with a command that ends itself
std::atomic<nanoseconds> lastResort = kNone;  ///< the time after which the process ends anyway

nanoseconds durationOf(const timespec& time) {
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

}  // namespace

extern "C" {
int __real_sigtimedwait(const sigset_t* signals, siginfo_t* info, const timespec* limit);
int __real_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  clockid_t clock, const timespec* deadline);
int __wrap_sigtimedwait(const sigset_t* signals, siginfo_t* info, const timespec* limit);
int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  clockid_t clock, const timespec* deadline);

int __wrap_sigtimedwait(const sigset_t* signals, siginfo_t* info, const timespec* limit) {
    if (!recording || limit == nullptr) {
        return __real_sigtimedwait(signals, info, limit);
    }
    patience = durationOf(*limit);
    errno = EAGAIN;
    return -1;
}

int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  clockid_t clock, const timespec* deadline) {
    if (!recording) {
        return __real_pthread_cond_clockwait(condition, mutex, clock, deadline);
    }
    timespec now{};
    clock_gettime(clock, &now);
    lastResort = durationOf(*deadline) - durationOf(now);
    timespec later = *deadline;
    later.tv_sec += 3600;
    return __real_pthread_cond_clockwait(condition, mutex, clock, &later);
}
}

namespace varnockctl {
namespace {

/// Sends a signal to the process, and returns how the handler ends it.
Ending endingBy(int signal) {
    std::promise<Ending> ended;
    recording = true;
    {
        const InterruptHandler handler([&](const Ending& ending) { ended.set_value(ending); });
        kill(getpid(), signal);
        ended.get_future().wait();
        // The last resort waits in a thread of its own.
        while (lastResort.load() == kNone) {
            sched_yield();
        }
    }
    recording = false;
    return Interrupts::ending();
}

// The documented half second, less what a busy machine may need to end a process.
constexpr std::chrono::milliseconds kLongestLastResort{400};

TEST(Interrupts, EndACommandThatDoesNotEndItselfAtOnce) {
    EXPECT_EQ(endingBy(SIGINT).status, ExitStatus::interrupted);
    EXPECT_EQ(patience.load(), kNone);
    EXPECT_LE(lastResort.load(), kLongestLastResort);
}

TEST(Interrupts, LeaveACommandThatEndsItselfAFractionOfTheHalfSecond) {
    const Wakeup wakeup;
    const Interrupts interrupts(wakeup);
    EXPECT_EQ(endingBy(SIGTERM).status, ExitStatus::terminated);
    EXPECT_GT(patience.load(), nanoseconds(0));
    EXPECT_LE(patience.load(), std::chrono::milliseconds(200));
    EXPECT_LE(lastResort.load(), kLongestLastResort);
    EXPECT_TRUE(Interrupts::happened());
}

}  // namespace
}  // namespace varnockctl
