#pragma once

#include <map>
#include <memory>
#include <optional>

struct meminfo_info;
struct stat_info;

namespace varnock::agent {

/// Busy and total clock ticks of a processor.
struct Ticks {
    unsigned long long busy;
    unsigned long long total;
};

/// Load in percent since the previous request, for the first request since boot. Requests too close
/// together to measure get the same answer. Not thread-safe.
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

/// Kernel statistics: memory, load, boot time. A value that cannot be read is missing. Not
/// thread-safe.
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
