#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "LogEvent.h"

namespace krm {

/// Takes events on any thread and hands them on in their order on a thread of the CIMPLE framework:
/// indications may be delivered on such a thread alone, and a CIM server that takes its time holds
/// up no further event. Of a thousand events that wait the oldest gives way, and the client is told
/// how many entries were lost before it is told of the next.
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

    /// Delivers from now on. To be called on a thread of the framework, whose context the relay's
    /// own takes over. False when there can be no thread.
    bool start(Deliver deliver);
    /// Drops what waits and returns when nothing is being delivered any more.
    void stop();
    /// Does nothing while stopped.
    void add(const LogEvent& event);

  private:
    // What the relay and its thread share. The thread may outlive the relay by a few instructions.
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<LogEvent> waiting;
        bool hasLost = false;  // since the last delivery
        unsigned int lost = 0;
        bool stopping = false;
        bool ended = false;
        Deliver deliver;
    };

    static void* run(void* shared);
    static void lose(Shared& shared, const LogEvent& event);
    static LogEvent takeNext(Shared& shared);

    std::shared_ptr<Shared> shared_;
    std::mutex mutex_;  // guards shared_ against those who add
};

}  // namespace krm
