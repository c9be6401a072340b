#pragma once

#include <atomic>

/// Internal, not installed.
namespace varnock {

/// Asks the event thread to exit, wherever it waits. Thread-safety: any thread may call it.
class StopSignal {
  public:
    /// `wakeFd` becomes readable when the request is made, and stays so.
    explicit StopSignal(int wakeFd) : wakeFd_(wakeFd) {}

    void request() { requested_.store(true, std::memory_order_release); }
    bool requested() const { return requested_.load(std::memory_order_acquire); }
    int wakeFd() const { return wakeFd_; }

  private:
    std::atomic<bool> requested_{false};
    const int wakeFd_;
};

/// For waits with an optional stop.
inline bool isRequested(const StopSignal* stop) {
    return stop != nullptr && stop->requested();
}

}  // namespace varnock
