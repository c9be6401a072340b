#pragma once

#include <chrono>
#include <mutex>

#include "LogEvent.h"

class SipJson;

namespace krm {

/// The agent's events from the event channel of the process. It is read here and not with
/// KOLMEvents, because only the reader of the channel learns that it broke and that events are
/// missing.
///
/// Thread-safety: the operations are for one thread, wake() for any. Only one source is open at a
/// time: opening a second one waits until the first is closed.
class EventSource {
  public:
    enum class Outcome {
        event,    ///< an event arrived
        nothing,  ///< no event of interest
        closed,   ///< the agent has gone
        woken,    ///< by wake()
    };

    EventSource();
    virtual ~EventSource();
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;

    /// Registers for events. False if the agent is absent.
    virtual bool open();
    /// Waits for the next event. REQUIRES: open.
    virtual Outcome next(LogEvent& event);
    /// Ends the registration and closes the channel.
    virtual void close();
    /// Waits until the time has passed or wake() is called.
    virtual void pause(std::chrono::milliseconds limit);
    /// Ends the current wait and all later ones.
    virtual void wake();

  private:
    static Outcome understand(const SipJson& record, LogEvent& event);

    int wakeFd_;
    int fd_ = -1;
    std::unique_lock<std::mutex> turn_;  ///< while open
};

}  // namespace krm
