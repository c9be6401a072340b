#pragma once

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace varnock::soak {

/// What one thread is doing, and since when. Used by its thread, and read by the watch.
class Place {
  public:
    using Clock = std::chrono::steady_clock;

    explicit Place(std::string thread) : thread_(std::move(thread)) {}

    /// Called by the thread itself. `what` must live for ever.
    void enter(const char* what) {
        handle_ = pthread_self();
        what_ = what;
        touch();
    }
    /// The thread goes on with what it is doing.
    void touch() { since_ = Clock::now().time_since_epoch().count(); }
    /// The thread does nothing that could hang, or has ended.
    void leave() { what_ = nullptr; }

    const std::string& thread() const { return thread_; }
    const char* what() const { return what_; }
    pthread_t handle() const { return handle_; }
    std::chrono::seconds age() const;

  private:
    const std::string thread_;
    std::atomic<const char*> what_ = nullptr;
    std::atomic<Clock::rep> since_ = 0;
    std::atomic<pthread_t> handle_{};
};

/// Ends the process when a thread hangs: prints where each thread is, then exits with kHung.
class HangWatch {
  public:
    static constexpr int kHung = 3;
    /// Longer than any request of the library takes: at most 30 s for sending and for the reply,
    /// ten for the attempts, and the seconds until an agent is back.
    static constexpr std::chrono::seconds kLongest{150};

    HangWatch();
    ~HangWatch();
    HangWatch(const HangWatch&) = delete;
    HangWatch& operator=(const HangWatch&) = delete;

    /// A place that is watched until the end of the watch.
    Place& place(const std::string& thread);

  private:
    void watch();
    void reportAndExit() const;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isEnding_ = false;
    std::vector<std::unique_ptr<Place>> places_;
    std::thread thread_;
};

}  // namespace varnock::soak
