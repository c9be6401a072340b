#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "runtime/Thread.h"
#include "transport/client/EventLoop.h"
#include "transport/client/EventRun.h"
#include "transport/client/TerminatePipe.h"

/// Internal, not installed.
namespace varnock {

/// Starts and stops the event thread of a client, with all that it needs: the registration for
/// events, the pipe that wakes it, and the run that it shares with those who stop it. In a child
/// made by fork() events are not enabled.
///
/// Thread-safety: as CSwitchClient promises for the operations behind which these stand. The
/// listener is called on the event thread, with no lock held, and may call any operation or destroy
/// this object.
class EventThread {
  public:
    explicit EventThread(EventListener listener);
    /// Ends the thread and waits for it. The registration for events stays.
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    /// The name under which the thread appears in traces: up to 255 characters, copied. Not null.
    void setName(const char* name);
    /// Registers for events and starts the thread, or ends both, unless that is done. One call at a
    /// time. True on success.
    bool enable(bool wanted);
    /// Ends the thread and waits for it, unless called on it. Further calls do nothing.
    void stop();
    /// Wakes the thread for its end, if there is a pipe.
    void wake() const { pipe_.wake(); }
    void closePipe() { pipe_.close(); }

    /// Entry of the thread; `eventThread` is an EventThread.
    static void* entry(void* eventThread);
    /// Serves events until the end.
    void serve();

    /// The event connection in use; -1 for none.
    int eventFd() const { return eventFd_; }

  private:
    bool lock(std::unique_lock<std::mutex>& enabling) const;
    bool start();
    bool registerEvents();
    bool startThread();
    bool end();
    void dropInherited();
    void join();
    std::string name() const;
    std::shared_ptr<EventRun> makeRun() const;

    const EventListener listener_;
    char name_[256] = {};
    mutable std::mutex nameMutex_;  // guards name_
    std::atomic<bool> isEnabled_{false};
    CThread thread_{1};
    TerminatePipe pipe_;
    std::atomic<int> eventFd_{-1};
    std::shared_ptr<EventRun> run_;  // the thread's, from its start to the next one
    std::mutex enabling_;            // one enable() at a time
};

}  // namespace varnock
