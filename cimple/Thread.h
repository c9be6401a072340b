#pragma once

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

typedef void* (*Thread_Proc)(void*);

/// Creates threads of a provider. Only these threads inherit from their creator the context that is
/// needed to deliver indications. Stateless.
class Thread {
  public:
    /// Runs `proc(arg)` in a detached thread. Returns 0, or an errno value if the thread cannot be
    /// created.
    static int create_detached(Thread& thread, Thread_Proc proc, void* arg);
};

CIMPLE_NAMESPACE_END
