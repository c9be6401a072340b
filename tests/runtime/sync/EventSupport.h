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
#include "tests/runtime/sync/Timeouts.h"
#include "tests/support/PosixThread.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {

inline constexpr int kAutomaticReset = 0;
inline constexpr int kManualReset = 1;

/// An event and its record, whose address comes from the trace. Tests only read the record.
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
    /// The record as the trace texts show it.
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
        while (waiters() != count) {
            sched_yield();
        }
    }
    /// Wakes the waiters, as the system may do without a cause.
    void wakeWithoutCause() const { pthread_cond_broadcast(&record_->condition); }
    /// Destroys the object.
    void end() { event_ = nullptr; }

  private:
    std::unique_ptr<CEvent> event_;
    Record* record_ = nullptr;
};

/// A thread inside Wait(), and the result.
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
    /// Waits for the end of a thread that another one cancels; true if it was cancelled.
    bool wasCancelled() { return thread_.join(); }

  private:
    std::atomic<bool> done_ = false;
    int result_ = -99;
    PosixThread thread_;
};

inline void letOthersRun() {
    for (int turn = 0; turn < 200; ++turn) {
        sched_yield();
    }
}

/// A clock whose n-th timed wait runs the n-th step and returns its result. The calendar stands
/// still. As in a real wait, the mutex is unlocked during the step: a step may use the event and
/// cancel its thread. A thread whose wait has ended continues when its step returns.
///
/// In use from construction to destruction. All waits of a test are waits of one event, whose mutex
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
    /// The deadlines of the waits so far, in the order of their start.
    const std::vector<timespec>& deadlines() const { return deadlines_; }

    void sleepFor(std::chrono::milliseconds) override {}
    int poll(pollfd*, nfds_t, int) override { return 0; }
    int waitUntil(pthread_cond_t*, pthread_mutex_t* mutex, const timespec& deadline) override {
        if (deadlines_.size() == steps_.size()) {
            // Returning would make the thread wait again without end.
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
    /// Locks the mutex again, also if the thread is cancelled, as a real wait does.
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
