#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace varnock::agent {

/// A counter of the energy that a part of the machine has taken.
struct PowerZone {
    std::string name;       ///< "package-0", "dram" …
    std::string directory;  ///< "intel-rapl:0:1"
};

/// The kernel's energy counters ("powercap"). Only root can read most of them. Not thread-safe.
class PowerZones {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit PowerZones(std::filesystem::path root) : root_(std::move(root)) {}

    /// In the order of their directories. Takes a first reading of each zone.
    std::vector<PowerZone> list(Time now);
    /// Mean power in watts since the previous reading. Nothing at the first reading, or if the
    /// previous one is so old that the counter may have started over. Readings too close together
    /// to measure get the same answer.
    std::optional<double> watts(const PowerZone& zone, Time now);

  private:
    struct State {
        unsigned long long microjoules;
        Time since;
        std::optional<double> watts;
    };

    std::optional<unsigned long long> counter(const PowerZone& zone, const char* file) const;
    std::optional<unsigned long long> energySince(const State& state, const PowerZone& zone,
                                                  unsigned long long reading) const;

    std::filesystem::path root_;
    std::map<std::string, State> states_;
};

}  // namespace varnock::agent
