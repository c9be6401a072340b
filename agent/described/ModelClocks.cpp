#include "agent/described/ModelClocks.h"

#include <chrono>

namespace varnock::agent {
namespace {

template <typename Duration>
double secondsIn(Duration duration) {
    return std::chrono::duration<double>(duration).count();
}

template <typename Time>
std::int64_t secondsSinceEpoch(Time time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

}  // namespace

MachineModel::Clock systemClock() {
    const auto start = std::chrono::steady_clock::now();
    return [start] {
        return Moment{secondsSinceEpoch(std::chrono::system_clock::now()),
                      secondsIn(std::chrono::steady_clock::now() - start)};
    };
}

MachineModel::Clock agentTime(AgentClock& clock, AgentClock::Time forward) {
    return [&clock, forward] {
        return Moment{secondsSinceEpoch(clock.calendar() + forward), secondsIn(clock.now())};
    };
}

}  // namespace varnock::agent
