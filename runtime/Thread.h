#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>

#include "runtime/SyncWrappers.h"
#include "runtime/ThreadMonitor.h"
#include "util/Export.h"

namespace varnock {
struct ThreadLife;
}

/// One POSIX thread with a policy for its end.
///
///     void* work(void* argument) {
///         ...
///         ThreadReturn(0);
///         return nullptr;
///     }
///
///     CThread thread(1);
///     if (thread.Start(work, &task, 0, 0, 0, 0, 1)) { ...; thread.WaitForTermination(0xFFFFFFFF);
///     }
///
/// Every entry function ends with ThreadReturn(), so that the thread monitor of the host, if there
/// is one, no longer counts the thread.
///
/// Thread-safety: any thread, also the started one, may call any operation. Exception: no other
/// operation of the object may run during Start(). Only one thread can wait for the thread; a
/// second one fails.
class VARNOCK_EXPORT CThread {
  public:
    /// With `killStillAlive` set, Start() and the destructor call Kill() for a thread that still
    /// runs.
    explicit CThread(int killStillAlive);
    /// Calls Kill() if `killStillAlive` is set, which blocks until a joinable thread has ended.
    /// Otherwise the thread continues without the object.
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// Runs `entry(argument)` in a new thread. The thread begins after this object has recorded it,
    /// so it may use the object. A priority other than 0 asks for round-robin scheduling with it,
    /// which the thread library may ignore. `waitable` makes the thread joinable, else it is
    /// detached. `startOption` and `stackSize` are only recorded. Traces a failure and returns
    /// false; the object is then unchanged.
    bool Start(void* (*entry)(void*), void* argument, unsigned long priority, int startOption,
               unsigned int stackSize, unsigned long unused, int waitable);
    /// Ends the thread: waits for a joinable thread, which the caller must have told to end, and
    /// cancels a detached one. True if the thread was joined or cancelled, or did not exist.
    bool Kill(unsigned int unused = 0);
    /// Waits for a joinable thread without limit; `timeout` has no effect and should be 0xFFFFFFFF.
    /// True if the thread has ended or was never started, false for a detached thread or if joining
    /// fails. A cancellation point.
    bool WaitForTermination(unsigned int timeout);
    /// True if the thread has been started and has not ended.
    bool IsRunning();
    /// Stores both names in the thread's monitor entry; false without one. Null is allowed.
    bool SetThreadName(const char* debugName, const char* qualifier);

  private:
    [[nodiscard]] bool join(pthread_t thread, const char* operation);
    [[nodiscard]] int joinOnce(pthread_t thread, void** result);
    [[nodiscard]] bool cancelDetached(pthread_t thread);
    void setStatus(unsigned int status);
    void setJoinStatus(unsigned int status);

    std::atomic<pthread_t> handle_;  ///< 0 when none
    int killStillAlive_;
    int waitable_;
    [[maybe_unused]] int reserved_;
    CThreadMonitorEntry* monitorEntry_;          ///< null when none
    std::shared_ptr<varnock::ThreadLife> life_;  ///< null before the first start
    std::atomic<bool> joining_;
};

/// The system calls of CThread.
///
/// pthread_join.
VARNOCK_EXPORT int ThreadJoin(pthread_t thread, void** result);
/// pthread_cancel; the signal number is ignored.
VARNOCK_EXPORT int ThreadKill(pthread_t thread, int signal);
/// Stores the priority of a thread and returns true; false for a thread that is 0 or has ended.
/// REQUIRES: a detached thread has not ended.
VARNOCK_EXPORT bool ThreadGetPrio(pthread_t thread, int* priority);
/// pthread_equal.
VARNOCK_EXPORT int ThreadEqual(pthread_t left, pthread_t right);
/// Records in the monitor that the calling thread exits, and returns `code`.
VARNOCK_EXPORT unsigned int ThreadReturn(unsigned int code);
