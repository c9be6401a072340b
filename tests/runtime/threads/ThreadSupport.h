#pragma once

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include "runtime/Thread.h"
#include "tests/runtime/sync/Timeouts.h"

namespace varnock::test {

inline constexpr int kDetached = 0;
inline constexpr int kJoinable = 1;
inline constexpr int kKeepAlive = 0;
inline constexpr int kKillAlive = 1;

/// A trace text with its arguments.
template <typename... Arguments>
std::string text(const char* format, Arguments... arguments) {
    char buffer[300];
    std::snprintf(buffer, sizeof buffer, format, arguments...);
    return buffer;
}

/// The thread as the trace texts show it.
inline unsigned int number(pthread_t thread) {
    return static_cast<unsigned int>(thread);
}

/// The work of a started thread, and its progress since the last start.
class Task {
  public:
    explicit Task(std::function<void()> body) : body_(std::move(body)) {}

    bool start(CThread& thread, int waitable, unsigned long priority = 0) {
        begun_ = false;
        ended_ = false;
        return thread.Start(&run, this, priority, 3, 0x4000, 0, waitable);
    }
    pthread_t id() const { return id_; }
    bool begun() const { return begun_; }
    /// True if the thread has ended by itself, false if it was cancelled.
    bool ended() const { return ended_; }
    void awaitBegin() const {
        while (!begun_) {
            sched_yield();
        }
    }
    void awaitEnd() const {
        while (!ended_) {
            sched_yield();
        }
    }

  private:
    static void* run(void* argument) {
        Task& task = *static_cast<Task*>(argument);
        task.id_ = pthread_self();
        task.begun_ = true;
        task.body_();
        ThreadReturn(0);
        task.ended_ = true;
        return &task;
    }

    std::function<void()> body_;
    std::atomic<pthread_t> id_ = 0;
    std::atomic<bool> begun_ = false;
    std::atomic<bool> ended_ = false;
};

inline void nothing() {}

inline void awaitNotRunning(CThread& thread) {
    while (thread.IsRunning()) {
        sched_yield();
    }
}

}  // namespace varnock::test
