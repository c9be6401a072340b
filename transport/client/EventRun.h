#pragma once

#include <pthread.h>

#include <atomic>

#include "transport/channel/StopSignal.h"

/// Internal, not installed.
namespace varnock {

/// The state of one run of the event thread, shared by that thread and the threads that start and
/// stop it. It outlives its owner, which a listener may destroy.
class EventRun {
  public:
    /// `owner` is the object that runs the thread; `wakeFd` is the read end of the termination
    /// pipe.
    EventRun(const void* owner, int wakeFd, int eventDescriptor);
    ~EventRun();
    EventRun(const EventRun&) = delete;
    EventRun& operator=(const EventRun&) = delete;

    /// Called by the event thread when it starts.
    void enter();
    /// Called by the event thread when it ends.
    void leave();
    /// Set to true before the thread is started, so that a stop does not overlook a thread that has
    /// not reached enter() yet.
    void setRunning(bool running);
    bool isRunning() const { return running_; }
    bool isCalledOnOwnThread() const;
    /// The run of this owner that executes on the calling thread; null if there is none.
    static EventRun* ofThisThread(const void* owner);
    /// False in a child made by fork(), where the thread does not exist.
    bool belongsToThisProcess() const;
    /// Waits for the thread to end, up to ten steps of 500 ms.
    void awaitEnd();

    StopSignal stop;
    int eventFd;                        ///< used by the event thread only
    std::atomic<bool> isJoined{false};  ///< a thread waits or has waited for the event thread
    std::atomic<bool> isHeldUp{false};  ///< the waiting thread holds the lock of
                                        ///< EventThread::enable()

  private:
    const void* const owner_;
    const int process_;
    std::atomic<bool> running_{false};
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t ended_ = PTHREAD_COND_INITIALIZER;
};

}  // namespace varnock
