#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "LogEvent.h"

namespace krm {

/// Accepts events on any thread and delivers them in order on a thread of the CIMPLE framework:
/// indications may be delivered only on such a thread, and a slow CIM server does not delay further
/// events. The queue holds a thousand events; if it is full, the oldest is dropped, and the client
/// learns how many entries were lost before the next one.
///
/// Thread-safety: start() and stop() are for one thread, add() for any.
class LogEntryRelay {
  public:
    using Deliver = std::function<void(const LogEvent&)>;

    LogEntryRelay() = default;
    /// REQUIRES: stopped.
    ~LogEntryRelay() = default;
    LogEntryRelay(const LogEntryRelay&) = delete;
    LogEntryRelay& operator=(const LogEntryRelay&) = delete;

    /// Starts the delivery. Must be called on a thread of the framework, whose context the relay's
    /// thread inherits. False if no thread can be created.
    bool start(Deliver deliver);
    /// Drops the queued events; nothing is delivered after it returns.
    void stop();
    /// Does nothing while stopped.
    void add(const LogEvent& event);

  private:
    /// State shared by the relay and its thread. The thread may outlive the relay by a few
    /// instructions.
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<LogEvent> waiting;
        bool hasLost = false;  ///< since the last delivery
        unsigned int lost = 0;
        bool stopping = false;
        bool ended = false;
        Deliver deliver;
    };

    static void* run(void* argument);
    static void lose(Shared& shared, const LogEvent& event);
    static LogEvent takeNext(Shared& shared);

    std::shared_ptr<Shared> shared_;
    std::mutex mutex_;  ///< guards shared_ against add()
};

}  // namespace krm
