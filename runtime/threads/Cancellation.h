#pragma once

#include <pthread.h>

// Thread cancellation unwinds the stack, and unwinding must not pass a destructor or anything else
// that is noexcept: the process would end. Internal, not installed.
namespace varnock {

/// Keeps the calling thread from being cancelled for a scope. Destructors that trace, write, sleep,
/// wait or join begin with one, and so do short locked regions whose state must stay whole. A
/// cancellation that arrives meanwhile stays pending.
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
