#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "runtime/process/Clock.h"

namespace varnock::test {

/// Virtual time for one test: it moves only when a thread sleeps or a wait times out, so that ten
/// minutes of retries pass in milliseconds. Active from construction to destruction.
///
///     FakeClock clock;
///     ScriptedAgent agent(clock);  // optional: a peer that takes part in the virtual time
///     ... EXPECT_EQ(clock.sleeps().size(), 599u);
///
/// - sleepFor() moves the time and returns.
/// - poll() checks the real readiness of real descriptors. If none is ready, it waits in real time
///   until all participants are idle, that is, until nothing can happen before the time moves.
///   Then it times out in virtual time. Without participants it times out at once. A poll without
///   a limit waits in real time forever.
/// - waitUntil() waits in real time for the signal. It times out when advance() or another thread
///   has moved the time beyond its deadline. After expireWaits() it times out at once and moves
///   the time to its deadline. It may wake spuriously, as condition variables do.
///
/// Thread-safety: any thread may call any operation.
class FakeClock final : public Clock {
  public:
    using milliseconds = std::chrono::milliseconds;
    using nanoseconds = std::chrono::nanoseconds;

    /// A peer that does things at virtual times, such as the ScriptedAgent.
    class Participant {
      public:
        enum class State {
            Idle,     ///< does nothing until the time moves or it receives something
            Working,  ///< has unhandled input or commands
            Held,     ///< waits for the test; polls must not time out meanwhile, sleeps may
        };
        struct Standing {
            State state = State::Idle;
            std::optional<nanoseconds> due;  ///< when its next own action is due
        };
        virtual ~Participant() = default;
        virtual Standing standing() = 0;
        /// The time has reached `now`; actions that are due become work.
        virtual void reach(nanoseconds now) = 0;
    };

    FakeClock();
    ~FakeClock() override;
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    /// Moves the time like a sleep, without recording one.
    void advance(milliseconds duration);
    /// Sets the calendar clock forward, or back; the monotonic time goes on.
    void jump(std::chrono::seconds by);
    /// From now on waitUntil() times out at once; false: waits for signals again.
    void expireWaits(bool expire = true);
    /// The next poll, with a limit or not and in any thread, fails with this errno after that much
    /// virtual time; with 0 it returns 0 instead. Calls queue up.
    void failNextPoll(int error, milliseconds after = milliseconds(0));

    /// Every sleepFor() so far, in order.
    std::vector<milliseconds> sleeps() const;
    /// The limits above 0 of all poll() calls that timed out, in order.
    std::vector<milliseconds> expiredPolls() const;
    /// Virtual time since construction.
    milliseconds elapsed() const;

    void join(Participant& participant);
    void leave(Participant& participant);

    void sleepFor(milliseconds duration) override;
    int poll(pollfd* descriptors, nfds_t count, int timeoutMs) override;
    int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                  const timespec& deadline) override;
    int waitMonotonicUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           nanoseconds deadline) override;
    nanoseconds monotonicTime() override;
    timespec wallTime() override;

  private:
    struct Failure {
        int error;
        milliseconds after;
    };

    Participant::Standing standing();
    void reach(nanoseconds time);
    void moveTo(nanoseconds target);
    std::optional<Failure> takeFailure();
    int pollVirtually(pollfd* descriptors, nfds_t count, std::optional<nanoseconds> deadline);

    mutable std::mutex mutex_;  ///< guards the members up to the blank line
    std::vector<Participant*> participants_;
    std::vector<milliseconds> sleeps_;
    std::vector<milliseconds> expiredPolls_;
    std::deque<Failure> failures_;

    int waitToVirtual(pthread_cond_t* condition, pthread_mutex_t* mutex, nanoseconds end);

    std::atomic<nanoseconds::rep> now_{0};
    std::atomic<nanoseconds::rep> jumped_{0};
    std::atomic<bool> expireWaits_{false};
    Clock* previous_;
};

}  // namespace varnock::test
