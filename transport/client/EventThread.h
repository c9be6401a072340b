#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>

#include "runtime/Thread.h"
#include "transport/client/EventLoop.h"
#include "transport/client/EventRun.h"
#include "transport/client/TerminatePipe.h"
#include "util/Mutex.h"

/// Internal, not installed.
namespace varnock {

/// Starts and stops the event thread of a client. Owns the registration for events, the pipe that
/// wakes the thread, and the shared state of its run. In a child made by fork() events are not
/// enabled.
///
/// Thread-safety: as documented for the operations of CSwitchClient that forward to this class. The
/// listener is called on the event thread with no lock held. It may call any operation or destroy
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
    /// True: registers for events and starts the thread. False: ends both. Does nothing if the
    /// state is already as wanted. Calls are serialised. Returns true on success.
    [[nodiscard]] bool enable(bool wanted);
    /// Ends the thread and waits for it, unless called on it. Further calls do nothing.
    void stop();
    /// Wakes the thread so that it ends. Does nothing without a pipe.
    void wake() { pipe_.wake(); }
    void closePipe() { pipe_.close(); }

    /// The thread's entry function. `eventThread` points to an EventThread.
    static void* entry(void* eventThread);
    /// The body of the thread: handles events until it is told to stop.
    void serve();

    /// The event connection in use; -1 for none.
    int eventFd() const { return eventFd_; }

  private:
    using Name = std::array<char, 256>;

    [[nodiscard]] bool lock(std::unique_lock<Mutex>& enabling) const;
    [[nodiscard]] bool start();
    [[nodiscard]] bool registerEvents();
    [[nodiscard]] bool startThread(std::shared_ptr<EventRun> run);
    [[nodiscard]] bool end();
    void dropInherited();
    void join();
    Name name() const;
    std::shared_ptr<EventRun> makeRun() const;

    const EventListener listener_;
    Name name_{};
    mutable Mutex nameMutex_;  ///< guards name_
    std::atomic<bool> isEnabled_{false};
    CThread thread_{1};
    TerminatePipe pipe_;
    std::atomic<int> eventFd_{-1};
    std::shared_ptr<EventRun> run_;  ///< of the last started thread
    Mutex enabling_;                 ///< serialises enable()
};

}  // namespace varnock
