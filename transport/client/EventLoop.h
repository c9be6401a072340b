#pragma once

#include <atomic>
#include <functional>

#include "transport/SipJson.h"
#include "transport/client/EventRun.h"

/// Internal, not installed.
namespace varnock {

/// Called for each event, on the event thread. What it throws is traced and dropped.
using EventListener = std::function<void(SipJson& event)>;

/// The loop of the event thread: waits for events and passes them to the listener.
class EventLoop {
  public:
    /// `shownFd` receives the descriptor of each reopened channel. It belongs to the client, which
    /// the listener may destroy, so it is not accessed after the run was told to stop.
    EventLoop(EventRun& run, std::atomic<int>& shownFd, EventListener listener);

    /// Runs until the run is told to stop or the channel cannot be reopened. A lack of memory does
    /// not end it: after a pause it goes on with the next event, or tries again to reopen the
    /// channel.
    void run();

  private:
    [[nodiscard]] bool handleEvent();
    [[nodiscard]] bool reopen();
    [[nodiscard]] bool followChannel(int fd);
    void deliver(SipJson& event) const;

    EventRun& run_;
    std::atomic<int>& shownFd_;
    bool isChannelLost_ = false;  ///< it was closed, and the memory to reopen it was missing
    const EventListener listener_;
};

}  // namespace varnock
