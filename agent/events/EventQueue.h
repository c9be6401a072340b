#pragma once

#include <deque>
#include <functional>
#include <string>

#include "agent/EventLoop.h"
#include "agent/events/EventSink.h"

namespace varnock::agent {

/// The events that have been raised and not yet sent. The loop sends some per turn, so that clients
/// can read meanwhile. Used only on the thread of its event loop.
class EventQueue final : public EventSink {
  public:
    /// Sends the frame of an event to all registered clients; may be called on every turn of the
    /// loop.
    using Send = std::function<void(const std::string& frame)>;

    EventQueue(sd_event* loop, Send send);

    void raise(const SipJson& event) override;
    /// Sends all events at once. Must not be called while a command is being answered.
    void sendAll();
    std::size_t size() const { return frames_.size(); }

  private:
    static int onTurn(sd_event_source* source, void* self);

    void send(std::size_t most);

    Send send_;
    std::deque<std::string> frames_;
    EventSource turn_;
};

}  // namespace varnock::agent
