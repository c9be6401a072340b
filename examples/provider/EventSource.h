#pragma once

#include <chrono>
#include <mutex>

#include "LogEvent.h"

class SipJson;

namespace krm {

/// The agent's events as they come in over the event channel of the process. The channel is read
/// here and not with KOLMEvents, because only who reads it learns that it broke and that events are
/// missing.
///
/// Thread-safety: the operations are for one thread, wake() for any. Sources that are open at the
/// same time take turns: the later one waits until the earlier is closed.
class EventSource {
  public:
    enum class Outcome {
        Event,    ///< there is one
        Nothing,  ///< what came is of no interest
        Closed,   ///< the agent has gone
        Woken,    ///< by wake()
    };

    EventSource();
    virtual ~EventSource();
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;

    /// Registers for events. False when the agent is not there.
    virtual bool open();
    /// Waits for the next event. REQUIRES: open.
    virtual Outcome next(LogEvent& event);
    /// The registration ends; so does what was open.
    virtual void close();
    /// Waits until the time has passed or wake() is called.
    virtual void pause(std::chrono::milliseconds limit);
    /// Ends the waiting, now and from now on.
    virtual void wake();

  private:
    static Outcome understand(const SipJson& record, LogEvent& event);

    int wakeFd_;
    int fd_ = -1;
    std::unique_lock<std::mutex> turn_;  // while open
};

}  // namespace krm
