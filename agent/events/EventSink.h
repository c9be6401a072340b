#pragma once

#include "transport/SipJson.h"

namespace varnock::agent {

/// Takes the events of a machine.
class EventSink {
  public:
    virtual ~EventSink() = default;
    /// Sends the event to every client registered at the time it is sent, after all events raised
    /// before; if a command is being answered, after its reply. Throws FrameTooLong if the event
    /// does not fit a frame.
    virtual void raise(const SipJson& event) = 0;
};

/// Raises the event that a log has a new entry with this number.
inline void raiseLogEntry(EventSink& events, varnock::EventOpcode log, unsigned number,
                          unsigned cabinet = 0) {
    SipJson event(static_cast<unsigned>(log), 0, 0, cabinet, 0);
    event.SetDataDWord(number, 0);
    events.raise(event);
}

}  // namespace varnock::agent
