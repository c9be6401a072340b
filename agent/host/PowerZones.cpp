#include "agent/host/PowerZones.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPowerZones = "sys/class/powercap";
/// The shortest time that gives a power: the counters change about every millisecond.
constexpr auto kShortestSpan = std::chrono::milliseconds(10);
/// A counter may have passed its greatest value more than once in a longer time.
constexpr auto kLongestSpan = std::chrono::minutes(2);
/// A second view of the same counters.
constexpr std::string_view kDuplicates = "intel-rapl-mmio";

}  // namespace

std::optional<unsigned long long> PowerZones::counter(const PowerZone& zone,
                                                      const char* file) const {
    const auto line = readLine(root_ / kPowerZones / zone.directory / file);
    unsigned long long value = 0;
    if (!line) {
        return std::nullopt;
    }
    const char* end = line->data() + line->size();
    const auto [stop, error] = std::from_chars(line->data(), end, value);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

std::vector<PowerZone> PowerZones::list(Time now) {
    std::error_code failure;
    std::vector<PowerZone> zones;
    for (fs::directory_iterator entry(root_ / kPowerZones, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        PowerZone zone{readLine(entry->path() / "name").value_or(""), entry->path().filename()};
        // Groups of zones have neither a name nor a counter.
        if (!zone.name.empty() && !zone.directory.starts_with(kDuplicates) &&
            counter(zone, "energy_uj")) {
            static_cast<void>(watts(zone, now));
            zones.push_back(std::move(zone));
        }
    }
    std::sort(zones.begin(), zones.end(),
              [](const PowerZone& a, const PowerZone& b) { return a.directory < b.directory; });
    return zones;
}

std::optional<unsigned long long> PowerZones::energySince(const State& state, const PowerZone& zone,
                                                          unsigned long long reading) const {
    if (reading >= state.microjoules) {
        return reading - state.microjoules;
    }
    // The counter has passed its greatest value.
    const auto range = counter(zone, "max_energy_range_uj");
    return range && *range >= state.microjoules
               ? std::optional(*range - state.microjoules + reading)
               : std::nullopt;
}

std::optional<double> PowerZones::watts(const PowerZone& zone, Time now) {
    constexpr double kMillion = 1e6;
    const auto reading = counter(zone, "energy_uj");
    if (!reading) {
        return std::nullopt;
    }
    State& state = states_.try_emplace(zone.directory, State{*reading, now, {}}).first->second;
    const auto span = now - state.since;
    if (span < kShortestSpan) {
        return state.watts;
    }
    const auto energy = span <= kLongestSpan ? energySince(state, zone, *reading) : std::nullopt;
    const double seconds = std::chrono::duration<double>(span).count();
    state = {*reading, now, {}};
    if (energy) {
        state.watts = static_cast<double>(*energy) / kMillion / seconds;
    }
    return state.watts;
}

}  // namespace varnock::agent
