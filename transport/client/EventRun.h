#pragma once

#include <pthread.h>

#include <atomic>

#include "transport/channel/StopSignal.h"

/// Internal, not installed.
namespace varnock {

/// One run of the event thread, shared by that thread and by those who start and stop it. It
/// outlives its owner, which a listener may destroy.
class EventRun {
  public:
    /// `owner` is the object that runs the thread, `wakeFd` the read end of the termination pipe.
    EventRun(const void* owner, int wakeFd, int eventFd);
    ~EventRun();
    EventRun(const EventRun&) = delete;
    EventRun& operator=(const EventRun&) = delete;

    /// The thread that calls this is the event thread.
    void enter();
    /// It ends.
    void leave();
    /// Counts as running from before the thread is started, so that nobody who stops it overlooks
    /// a thread that is still on its way.
    void setRunning(bool running);
    bool isRunning() const { return running_; }
    bool isCalledOnOwnThread() const;
    /// The run of this owner whose thread is the calling one; else null.
    static EventRun* ofThisThread(const void* owner);
    /// False in a child made by fork(), where the thread does not exist.
    bool belongsToThisProcess() const;
    /// Waits for the end, up to ten steps of 500 ms.
    void awaitEnd();

    StopSignal stop;
    int eventFd;                        ///< the event thread's own copy
    std::atomic<bool> isJoined{false};  ///< somebody has waited for the thread, or does so
    std::atomic<bool> isHeldUp{false};  ///< somebody who waits for the thread has the lock of
                                        ///< EventThread::enable()

  private:
    const void* const owner_;
    const int process_;
    std::atomic<bool> running_{false};
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t ended_ = PTHREAD_COND_INITIALIZER;
};

}  // namespace varnock
