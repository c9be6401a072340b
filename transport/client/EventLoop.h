#pragma once

#include <atomic>
#include <functional>

#include "transport/SipJson.h"
#include "transport/client/EventRun.h"

/// Internal, not installed.
namespace varnock {

/// Called for each event, on the event thread. What it throws is traced and dropped.
using EventListener = std::function<void(SipJson& event)>;

/// What the event thread does in a run: it waits for events and calls the listener with them.
class EventLoop {
  public:
    /// `shownFd` gets the descriptor of each channel that is made. It belongs to the client, which
    /// the listener may destroy: it is not touched once the run has been told to stop.
    EventLoop(EventRun& run, std::atomic<int>& shownFd, EventListener listener);

    /// Goes on until the run is told to stop or the agent stays away.
    void run();

  private:
    bool handleEvent();
    bool followChannel(int fd);
    void deliver(SipJson& event) const;

    EventRun& run_;
    std::atomic<int>& shownFd_;
    const EventListener listener_;
};

}  // namespace varnock
