#include "tests/support/FakeClock.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

/// Both ends of a stream, closed at the end.
struct Stream {
    Stream() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0); }
    ~Stream() {
        close(ends[0]);
        close(ends[1]);
    }
    pollfd readable() const { return {ends[0], POLLIN, 0}; }
    void send() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
    int ends[2] = {-1, -1};
};

/// A peer that writes to a stream at a chosen virtual time.
class Writer final : public FakeClock::Participant {
  public:
    Writer(FakeClock& clock, const Stream& stream) : clock_(clock), stream_(stream) {
        clock_.join(*this);
    }
    ~Writer() override { clock_.leave(*this); }

    Standing standing() override { return {state, due}; }
    void reach(std::chrono::nanoseconds now) override {
        if (due && now >= *due) {
            stream_.send();
            due.reset();
        }
    }

    std::atomic<State> state{State::Idle};
    std::optional<std::chrono::nanoseconds> due;

  private:
    FakeClock& clock_;
    const Stream& stream_;
};

TEST(FakeClock, SleepingMovesTheTimeAndIsRecorded) {
    FakeClock clock;
    const auto start = Clock::instance().monotonicTime();
    const timespec wall = Clock::instance().wallTime();
    for (int i = 0; i < 599; ++i) {
        Clock::instance().sleepFor(1s);
    }
    EXPECT_EQ(clock.sleeps(), std::vector<std::chrono::milliseconds>(599, 1s));
    EXPECT_EQ(clock.elapsed(), 599s);
    EXPECT_EQ(Clock::instance().monotonicTime() - start, 599s);
    EXPECT_EQ(Clock::instance().wallTime().tv_sec - wall.tv_sec, 599);
}

TEST(FakeClock, IsInForceForItsLifetime) {
    Clock& before = Clock::instance();
    {
        FakeClock clock;
        EXPECT_EQ(&Clock::instance(), &clock);
    }
    EXPECT_EQ(&Clock::instance(), &before);
}

TEST(FakeClock, PollSeesRealReadiness) {
    FakeClock clock;
    Stream stream;
    stream.send();
    pollfd descriptor = stream.readable();
    EXPECT_EQ(clock.poll(&descriptor, 1, 30000), 1);
    EXPECT_EQ(descriptor.revents, POLLIN);
    EXPECT_EQ(clock.elapsed(), 0s);
}

TEST(FakeClock, PollRunsOutInVirtualTimeWhenNothingCanCome) {
    FakeClock clock;
    Stream stream;
    pollfd descriptor = stream.readable();
    EXPECT_EQ(clock.poll(&descriptor, 1, 30000), 0);
    EXPECT_EQ(clock.elapsed(), 30s);
    EXPECT_EQ(clock.expiredPolls(), std::vector<std::chrono::milliseconds>{30s});
}

TEST(FakeClock, PollOfZeroDoesNotMoveTheTime) {
    FakeClock clock;
    Stream stream;
    pollfd descriptor = stream.readable();
    EXPECT_EQ(clock.poll(&descriptor, 1, 0), 0);
    EXPECT_EQ(clock.elapsed(), 0s);
    EXPECT_TRUE(clock.expiredPolls().empty());
}

TEST(FakeClock, PollStopsForWhatIsDueBeforeItsLimit) {
    FakeClock clock;
    Stream stream;
    Writer writer(clock, stream);
    writer.due = 1500ms;
    pollfd descriptor = stream.readable();
    EXPECT_EQ(clock.poll(&descriptor, 1, 1000), 0);
    EXPECT_EQ(clock.poll(&descriptor, 1, 1000), 1);
    EXPECT_EQ(clock.elapsed(), 1500ms);
}

TEST(FakeClock, PollWithoutLimitMovesTheTimeToWhatIsDue) {
    FakeClock clock;
    Stream stream;
    Writer writer(clock, stream);
    writer.due = 24h;
    pollfd descriptor = stream.readable();
    EXPECT_EQ(clock.poll(&descriptor, 1, -1), 1);
    EXPECT_EQ(clock.elapsed(), 24h);
}

TEST(FakeClock, PollWaitsReallyWhileAPeerIsAtWork) {
    for (const auto state :
         {FakeClock::Participant::State::Working, FakeClock::Participant::State::Held}) {
        FakeClock clock;
        Stream stream;
        Writer writer(clock, stream);
        writer.state = state;
        std::thread answer([&] { stream.send(); });
        pollfd descriptor = stream.readable();
        EXPECT_EQ(clock.poll(&descriptor, 1, 1), 1);
        EXPECT_EQ(clock.elapsed(), 0s);
        answer.join();
    }
}

TEST(FakeClock, SleepingLetsOthersActOnTheWay) {
    FakeClock clock;
    Stream stream;
    Writer writer(clock, stream);
    writer.due = 300ms;
    clock.sleepFor(1s);
    pollfd descriptor = stream.readable();
    EXPECT_EQ(clock.poll(&descriptor, 1, 0), 1);
    EXPECT_EQ(clock.elapsed(), 1s);
}

TEST(FakeClock, FailsPollsAsTold) {
    FakeClock clock;
    clock.failNextPoll(EINTR, 2500ms);
    clock.failNextPoll(ENOMEM);
    EXPECT_EQ(clock.poll(nullptr, 0, -1), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(clock.elapsed(), 2500ms);
    EXPECT_EQ(clock.poll(nullptr, 0, -1), -1);
    EXPECT_EQ(errno, ENOMEM);
    clock.failNextPoll(0);
    EXPECT_EQ(clock.poll(nullptr, 0, -1), 0);
    EXPECT_EQ(clock.poll(nullptr, 0, 1), 0);
}

/// A condition and a flag, as in every timed wait of the library.
struct Signal {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    bool set = false;

    void give() {
        pthread_mutex_lock(&mutex);
        set = true;
        pthread_cond_signal(&condition);
        pthread_mutex_unlock(&mutex);
    }
    static timespec in(FakeClock& clock, std::chrono::seconds limit) {
        timespec deadline = clock.wallTime();
        deadline.tv_sec += limit.count();
        return deadline;
    }
    int await(FakeClock& clock, const timespec& deadline) {
        pthread_mutex_lock(&mutex);
        int result = 0;
        while (!set && result == 0) {
            result = clock.waitUntil(&condition, &mutex, deadline);
        }
        pthread_mutex_unlock(&mutex);
        return result;
    }
};

TEST(FakeClock, WaitingTakesTheSignal) {
    FakeClock clock;
    Signal signal;
    std::thread other([&] { signal.give(); });
    EXPECT_EQ(signal.await(clock, Signal::in(clock, 1s)), 0);
    EXPECT_EQ(clock.elapsed(), 0s);
    other.join();
}

TEST(FakeClock, WaitingRunsOutWhenTheTimeIsMoved) {
    FakeClock clock;
    Signal signal;
    const timespec deadline = Signal::in(clock, 5s);
    std::thread other([&] { clock.advance(5s); });
    EXPECT_EQ(signal.await(clock, deadline), ETIMEDOUT);
    other.join();
}

TEST(FakeClock, WaitingRunsOutAtOnceWhenTold) {
    FakeClock clock;
    clock.expireWaits();
    Signal signal;
    EXPECT_EQ(signal.await(clock, Signal::in(clock, 5s)), ETIMEDOUT);
    EXPECT_EQ(clock.elapsed(), 5s);
}

}  // namespace
}  // namespace varnock::test
