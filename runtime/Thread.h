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
/// Every entry function ends with ThreadReturn(), so that the thread monitor, if the host has made
/// one, counts the thread out.
///
/// Thread-safety: any thread, the started one included, may call any operation except Start(),
/// during which no other operation of the object may run. A thread may be waited for once; of two
/// that try, one fails.
class VARNOCK_EXPORT CThread {
  public:
    /// With `killStillAlive` set, Start() and the destructor Kill() a thread that is still there.
    explicit CThread(int killStillAlive);
    /// Kills the thread if told so at construction, which blocks until a joinable one has ended.
    /// Else the thread goes on without the object.
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// Runs `entry(argument)` in a new thread. It begins when this object knows the thread, so it
    /// may use the object. A priority other than 0 asks for round-robin scheduling with it, which
    /// the thread library may ignore. `waitable` makes the thread joinable, else it is detached.
    /// `startOption` and `stackSize` are only recorded. False, traced, when a call beneath fails;
    /// the object then stays as it was.
    bool Start(void* (*entry)(void*), void* argument, unsigned long priority, int startOption,
               unsigned int stackSize, unsigned long unused, int waitable);
    /// Ends the thread: waits for a joinable one, which must have been told to end before, and
    /// cancels a detached one. True if it was joined or cancelled, or was not there.
    bool Kill(unsigned int unused = 0);
    /// Waits for a joinable thread without limit, whatever `timeout` (0xFFFFFFFF is the honest
    /// value). True if it has ended or was never started, false for a detached thread or when
    /// joining fails. A cancellation point.
    bool WaitForTermination(unsigned int timeout);
    /// Whether the thread has been started and not come to its end.
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

/// The calls of the platform beneath CThread.
///
/// pthread_join.
VARNOCK_EXPORT int ThreadJoin(pthread_t thread, void** result);
/// pthread_cancel: the thread is cancelled, and the signal number ignored.
VARNOCK_EXPORT int ThreadKill(pthread_t thread, int signal);
/// The priority of a thread, with true; false for a thread that is 0 or has ended. REQUIRES: a
/// detached thread lives.
VARNOCK_EXPORT bool ThreadGetPrio(pthread_t thread, int* priority);
/// pthread_equal.
VARNOCK_EXPORT int ThreadEqual(pthread_t left, pthread_t right);
/// Records in the monitor that the calling thread exits, and returns `code`.
VARNOCK_EXPORT unsigned int ThreadReturn(unsigned int code);
