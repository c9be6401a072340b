#pragma once

#include <functional>

namespace varnock::test {

/// Runs an action right before the n-th call (1 is the next) that the calling thread makes to a
/// lock, or to a function of the C library that waits, reads, writes or closes. Once.
///
///     const CallHook hook(3, CallHook::Calls::all, [&] { ... });
///     operation();
///     const bool hasThreeCalls = hook.happened();
///
/// One at a time in each thread. It replaces the calls in the whole program at link time, so tests
/// link it by name: varnock_test(... LIBRARIES varnock_call_hook).
class CallHook {
  public:
    enum class Calls {
        all,
        cancellable,  ///< those at which a thread can be cancelled
    };

    CallHook(unsigned int n, Calls calls, std::function<void()> action);
    ~CallHook();
    CallHook(const CallHook&) = delete;
    CallHook& operator=(const CallHook&) = delete;

    bool happened() const { return left_ == 0; }

  private:
    friend void beforeCall(bool isCancellable);

    unsigned int left_;
    const Calls calls_;
    const std::function<void()> action_;
};

/// Called by the replaced calls.
void beforeCall(bool isCancellable);

}  // namespace varnock::test
