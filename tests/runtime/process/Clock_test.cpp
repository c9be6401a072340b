#include "runtime/process/Clock.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>

#include "tests/support/FakeClock.h"

namespace varnock::test {
namespace {

using std::chrono::milliseconds;

TEST(Clock, TheSystemsClocksMoveForward) {
    Clock& clock = Clock::instance();
    const auto before = clock.monotonicTime();
    clock.sleepFor(milliseconds(1));
    EXPECT_GE(clock.monotonicTime() - before, milliseconds(1));
    EXPECT_GT(clock.wallTime().tv_sec, 1'500'000'000);
}

TEST(Clock, SignalsDoNotShortenASleep) {
    static std::atomic<int> signals = 0;
    struct sigaction counting {};
    counting.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(sigaction(SIGALRM, &counting, nullptr), 0);
    const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &everyMillisecond, nullptr), 0);
    Clock& clock = Clock::instance();
    const auto before = clock.monotonicTime();
    clock.sleepFor(milliseconds(5));
    EXPECT_GE(clock.monotonicTime() - before, milliseconds(5));
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GT(signals, 0);
}

TEST(Clock, PollSeesWhatIsReady) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    pollfd watched{ends[0], POLLIN, 0};
    EXPECT_EQ(Clock::instance().poll(&watched, 1, 0), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(Clock::instance().poll(&watched, 1, -1), 1);
    close(ends[0]);
    close(ends[1]);
}

TEST(Clock, AWaitRunsOutAtItsDeadline) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    pthread_mutex_lock(&mutex);
    timespec past = Clock::instance().wallTime();
    past.tv_sec -= 1;
    EXPECT_EQ(Clock::instance().waitUntil(&condition, &mutex, past), ETIMEDOUT);
    pthread_mutex_unlock(&mutex);
}

TEST(Clock, AMonotonicWaitRunsOutAtItsDeadline) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    pthread_mutex_lock(&mutex);
    // For the calendar clock this time is long ago.
    const auto end = Clock::instance().monotonicTime() + milliseconds(1);
    EXPECT_EQ(Clock::instance().waitMonotonicUntil(&condition, &mutex, end), ETIMEDOUT);
    EXPECT_GE(Clock::instance().monotonicTime(), end);
    pthread_mutex_unlock(&mutex);
}

TEST(Clock, AnotherOneCanTakeItsPlace) {
    Clock* system = &Clock::instance();
    {
        FakeClock fake;
        EXPECT_EQ(&Clock::instance(), &fake);
    }
    EXPECT_EQ(&Clock::instance(), system);
    EXPECT_EQ(Clock::replace(nullptr), system);
    EXPECT_EQ(&Clock::instance(), system);
}

}  // namespace
}  // namespace varnock::test
