#pragma once

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "runtime/Event.h"
#include "runtime/process/Clock.h"
#include "tests/support/PosixThread.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {

inline constexpr unsigned int kInfinite = 0xFFFFFFFF;
inline constexpr int kAutomaticReset = 0;
inline constexpr int kManualReset = 1;

/// An event and its record, which the trace tells. The record is for reading; what it holds is
/// changed through the operations of events alone.
class TracedEvent {
  public:
    using Record = CEvent::sysEvent_t;

    TracedEvent(int initialState, int manual, const char* name = nullptr) {
        const TraceCapture trace;
        event_ = std::make_unique<CEvent>(initialState, manual, name);
        const std::string text = trace.text();
        const std::size_t at = text.find("event ");
        void* address = nullptr;
        if (at == std::string::npos || std::sscanf(text.c_str() + at, "event %p", &address) != 1) {
            ADD_FAILURE() << "no record in: " << text;
        }
        record_ = static_cast<Record*>(address);
    }

    CEvent& event() { return *event_; }
    CEvent* operator->() { return event_.get(); }
    Record* record() const { return record_; }
    /// The record as trace texts show it.
    std::string named(const std::string& name) const {
        char address[32];
        std::snprintf(address, sizeof address, "%p", static_cast<void*>(record_));
        return std::string(address) + " <" + name + ">";
    }

    unsigned int waiters() const {
        pthread_mutex_lock(&record_->mutex);
        const unsigned int count = record_->waiters;
        pthread_mutex_unlock(&record_->mutex);
        return count;
    }
    void awaitWaiters(unsigned int count) const {
        while (waiters() != count) sched_yield();
    }
    /// Wakes those who wait, as the system may do without a cause.
    void wakeWithoutCause() const { pthread_cond_broadcast(&record_->condition); }
    /// Destroys the object.
    void end() { event_ = nullptr; }

  private:
    std::unique_ptr<CEvent> event_;
    Record* record_ = nullptr;
};

/// A thread inside Wait(), and what it returned.
class Waiter {
  public:
    explicit Waiter(CEvent& event, unsigned int timeoutMs = kInfinite)
        : thread_([this, &event, timeoutMs] {
              result_ = event.Wait(timeoutMs, 0);
              done_ = true;
          }) {}

    bool done() const { return done_; }
    int result() {
        thread_.join();
        return result_;
    }
    /// Cancels the thread; true if it was still in Wait().
    bool cancel() {
        thread_.cancel();
        return wasCancelled();
    }
    /// Waits for the end of a thread that is cancelled by somebody else; true if it was.
    bool wasCancelled() { return thread_.join(); }

  private:
    std::atomic<bool> done_ = false;
    int result_ = -99;
    PosixThread thread_;
};

inline void letOthersRun() {
    for (int turn = 0; turn < 200; ++turn) sched_yield();
}

/// A clock whose n-th timed wait does the n-th step and returns its result; the calendar stands
/// still. As in a real wait the mutex is free meanwhile: a step may use the event and have its
/// thread cancelled, and a thread whose wait was ended does not run before its step returns.
///
/// In force from construction to destruction. The waits of one test are of one event, whose mutex
/// orders them.
class ScriptedClock final : public Clock {
  public:
    template <typename... Steps>
    requires(std::is_invocable_r_v<int, Steps>&&...) explicit ScriptedClock(Steps... steps)
        : steps_{std::move(steps)...}, previous_(Clock::replace(this)) {}
    ~ScriptedClock() override { Clock::replace(previous_); }
    ScriptedClock(const ScriptedClock&) = delete;
    ScriptedClock& operator=(const ScriptedClock&) = delete;

    void setWallTime(time_t seconds, long nanoseconds) {
        now_.tv_sec = seconds;
        now_.tv_nsec = nanoseconds;
    }
    /// Those of the waits so far, in the order in which they began.
    const std::vector<timespec>& deadlines() const { return deadlines_; }

    void sleepFor(std::chrono::milliseconds) override {}
    int poll(pollfd*, nfds_t, int) override { return 0; }
    int waitUntil(pthread_cond_t*, pthread_mutex_t* mutex, const timespec& deadline) override {
        if (deadlines_.size() == steps_.size()) {
            // Whoever waits here would do so again and again.
            std::fputs("a wait too many\n", stderr);
            std::abort();
        }
        const std::function<int()>& step = steps_[deadlines_.size()];
        deadlines_.push_back(deadline);
        const FreeMutex free(*mutex);
        return step();
    }
    std::chrono::nanoseconds monotonicTime() override { return {}; }
    timespec wallTime() override { return now_; }

  private:
    /// Takes the mutex again also when the thread is cancelled, as a real wait does.
    class FreeMutex {
      public:
        explicit FreeMutex(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_unlock(&mutex); }
        ~FreeMutex() { pthread_mutex_lock(&mutex_); }
        FreeMutex(const FreeMutex&) = delete;
        FreeMutex& operator=(const FreeMutex&) = delete;

      private:
        pthread_mutex_t& mutex_;
    };

    const std::vector<std::function<int()>> steps_;
    std::vector<timespec> deadlines_;
    timespec now_{};
    Clock* previous_;
};

}  // namespace varnock::test
