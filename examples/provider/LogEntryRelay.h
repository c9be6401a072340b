#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "CIM/Provider/Include/KOLMClient.h"

namespace krm {

/// One event of the agent.
struct LogEntry {
    const char* logName;
    unsigned int sequenceNumber;
};

/// Takes log events on the library's event thread and hands them on in their order on a thread of
/// the CIMPLE framework: indications may be delivered on such a thread alone, and a CIM server that
/// takes its time holds up no further event. Of a thousand events that wait the oldest gives way.
///
/// Thread-safety: start() and stop() are for one thread, the listener's operations for any.
class LogEntryRelay final : public provider::KOLMEventsListener {
  public:
    using Deliver = std::function<void(const LogEntry&)>;

    LogEntryRelay() = default;
    /// REQUIRES: stopped, and no event on its way here.
    ~LogEntryRelay() = default;
    LogEntryRelay(const LogEntryRelay&) = delete;
    LogEntryRelay& operator=(const LogEntryRelay&) = delete;

    /// Delivers from now on. To be called on a thread of the framework, whose context the relay's
    /// own takes over. False when there can be no thread.
    bool start(Deliver deliver);
    /// Drops what waits and returns when nothing is being delivered any more.
    void stop();

    void onSystemMessageLogEntry(unsigned int sequenceNumber) override;
    void onDriverMonitorLogEntry(unsigned int sequenceNumber) override;

  private:
    // What the relay and its thread share. The thread may outlive the relay by a few instructions.
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<LogEntry> waiting;
        bool stopping = false;
        bool ended = false;
        Deliver deliver;
    };

    static void* run(void* shared);
    void add(const LogEntry& entry);

    std::shared_ptr<Shared> shared_;
    std::mutex mutex_;  // guards shared_ against the event thread
};

}  // namespace krm
