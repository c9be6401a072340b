#pragma once

#include <pthread.h>

#include <functional>
#include <system_error>
#include <utility>

namespace varnock::test {

/// A thread that can be cancelled, and reports whether it was. The destructor joins it.
class PosixThread {
  public:
    explicit PosixThread(std::function<void()> body) : body_(std::move(body)) {
        const int error = pthread_create(&handle_, nullptr, &run, this);
        if (error != 0) {
            throw std::system_error(error, std::generic_category(), "pthread_create");
        }
    }
    ~PosixThread() { join(); }
    PosixThread(const PosixThread&) = delete;
    PosixThread& operator=(const PosixThread&) = delete;

    void cancel() { pthread_cancel(handle_); }
    /// Waits for the end; true if the thread was cancelled.
    bool join() {
        if (!joined_) {
            pthread_join(handle_, &result_);
        }
        joined_ = true;
        return result_ == PTHREAD_CANCELED;
    }

  private:
    static void* run(void* self) {
        static_cast<PosixThread*>(self)->body_();
        return nullptr;
    }

    std::function<void()> body_;
    pthread_t handle_{};
    void* result_ = nullptr;
    bool joined_ = false;
};

}  // namespace varnock::test
