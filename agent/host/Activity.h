#pragma once

#include <map>
#include <memory>
#include <optional>

struct meminfo_info;
struct stat_info;

namespace varnock::agent {

/// Clock ticks that a processor has been busy, and all that have gone by.
struct Ticks {
    unsigned long long busy;
    unsigned long long total;
};

/// Load in percent between one question and the next, the first since the start of the machine.
/// Questions that follow each other too fast to measure get the same answer. Not thread-safe.
class LoadMeter {
  public:
    unsigned percent(unsigned cpu, Ticks now);

  private:
    struct State {
        Ticks since{};
        unsigned percent = 0;
    };
    std::map<unsigned, State> states_;
};

/// What the kernel counts: memory, load, the time of the start. A count that cannot be read is
/// missing. Not thread-safe.
class Activity {
  public:
    std::optional<unsigned> memoryUsedPercent();
    std::optional<unsigned> cpuUsedPercent(unsigned cpu);
    /// Seconds since the epoch.
    std::optional<unsigned> bootTime();

  private:
    struct Release {
        void operator()(meminfo_info* info) const;
        void operator()(stat_info* info) const;
    };

    stat_info* counters();
    std::optional<Ticks> ticks(unsigned cpu);

    std::unique_ptr<meminfo_info, Release> memory_;
    std::unique_ptr<stat_info, Release> counters_;
    LoadMeter load_;
};

}  // namespace varnock::agent
