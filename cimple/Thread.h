#pragma once

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

typedef void* (*Thread_Proc)(void*);

/// A thread of a provider. Only threads made here have what delivering an indication needs, as the
/// thread has that made them. Nothing is kept: the object is only the place that a thread is made
/// through.
class Thread {
  public:
    /// Runs `proc(arg)` in a thread of its own, which nobody waits for. Returns 0, or an errno
    /// value when there can be no more threads.
    static int create_detached(Thread& thread, Thread_Proc proc, void* arg);
};

CIMPLE_NAMESPACE_END
