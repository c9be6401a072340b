#include "agent/host/Sensor.h"

namespace varnock::agent {

std::optional<Health> healthWithin(const Limits& limits, const std::optional<double>& value) {
    const bool isLimited =
        limits.leastBeforeFailure || limits.least || limits.most || limits.mostBeforeFailure;
    if (!value || !isLimited) {
        return std::nullopt;
    }
    const auto isBelow = [&](const auto& limit) { return limit && *value < *limit; };
    const auto reaches = [&](const auto& limit) { return limit && *value >= *limit; };
    const auto isAbove = [&](const auto& limit) { return limit && *value > *limit; };
    if (isBelow(limits.leastBeforeFailure) || reaches(limits.mostBeforeFailure)) {
        return Health::failed;
    }
    return isBelow(limits.least) || isAbove(limits.most) ? Health::warning : Health::ok;
}

}  // namespace varnock::agent
