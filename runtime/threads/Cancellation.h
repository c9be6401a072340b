#pragma once

#include <pthread.h>

// Thread cancellation unwinds the stack. If the unwinding reaches a destructor or another noexcept
// function, the process aborts. Internal, not installed.
namespace varnock {

/// Disables the cancellation of the calling thread for a scope. Destructors that trace, write,
/// sleep, wait or join begin with it, and so do short locked regions that must not be left
/// half-way. A cancellation in between stays pending.
class CancellationGuard {
  public:
    CancellationGuard() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
    ~CancellationGuard() { pthread_setcancelstate(before_, nullptr); }
    CancellationGuard(const CancellationGuard&) = delete;
    CancellationGuard& operator=(const CancellationGuard&) = delete;

  private:
    int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace varnock
