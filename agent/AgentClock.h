#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>

#include "agent/EventLoop.h"

namespace varnock::agent {

/// The agent's time: that of the machine's readings, of faults and of the transcript. It is either
/// the real time, or a virtual one that stands still until it is advanced, so that the same
/// requests get the same answers in every run. Used only on the thread of its event loop.
class AgentClock {
  public:
    enum class Kind { real, isVirtual };
    /// Since the start of the agent.
    using Time = std::chrono::microseconds;

    /// An action that happens once, unless its owner is destroyed before. Must not outlive the
    /// clock.
    class Alarm {
      public:
        Alarm() = default;
        Alarm(Alarm&& other) noexcept { *this = std::move(other); }
        Alarm& operator=(Alarm&& other) noexcept {
            std::swap(clock_, other.clock_);
            std::swap(key_, other.key_);
            return *this;
        }
        ~Alarm();

      private:
        friend class AgentClock;
        using Key = std::pair<Time, std::uint64_t>;
        Alarm(AgentClock& clock, Key key) : clock_(&clock), key_(key) {}

        AgentClock* clock_ = nullptr;
        Key key_ = {};
    };

    AgentClock(sd_event* loop, Kind kind);
    AgentClock(const AgentClock&) = delete;
    AgentClock& operator=(const AgentClock&) = delete;

    Kind kind() const { return kind_; }
    Time now() const;
    /// The date and time. A virtual clock begins with the year 2026.
    std::chrono::system_clock::time_point calendar() const { return start_ + now(); }

    /// Performs `action` on the event loop at the given time, at once if that is past; of equal
    /// times in the order of the calls. It must not throw, and may destroy the alarm.
    [[nodiscard]] Alarm at(Time when, std::function<void()> action);

    /// Moves a virtual clock on and performs what is due meanwhile, each at its own time. Throws
    /// Refusal if the clock is real or the time is negative or above 100 years.
    void advance(Time by);

  private:
    static int onDue(sd_event_source* source, std::uint64_t now, void* self);

    void performUntil(Time end);
    void watch();

    Kind kind_;
    std::chrono::system_clock::time_point start_;
    std::chrono::steady_clock::time_point realStart_ = std::chrono::steady_clock::now();
    Time virtualNow_{0};
    std::uint64_t alarmsMade_ = 0;
    std::map<Alarm::Key, std::function<void()>> alarms_;
    EventSource due_;
};

}  // namespace varnock::agent
