#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>

#include "agent/Health.h"
#include "agent/model/Node.h"

/// The rules by which the components of a machine depend on each other.
namespace varnock::agent {

/// The health that a value names; nothing for another code.
std::optional<Health> healthOf(const Node* status);

/// A limit of a reading. Beyond it the component has a health.
struct Limit {
    const char* member;  ///< of the component; null: the constant
    double constant;
    bool isUpper;
    Health health;
};

/// What the log says of a health.
struct Remark {
    unsigned message;
    const char* text;
};

/// A value that a failed or absent component has instead of its own.
struct Residue {
    const char* member;
    const char* value;
};

/// The components in one list of a cabinet.
struct HealthRule {
    const char* list;
    const char* label;  ///< the member with the name of the component
    const char* node;   ///< of the status tree: this name and the number from 1
    const char* group;  ///< the node above
    const char* reading;
    /// A reading must be inside a limit by this, and this share of the limit, to be fine again.
    double hysteresis;
    double hysteresisShare;
    std::span<const Limit> limits;
    std::span<const Residue> residues;
    std::span<const Remark, kHealths> remarks;
};

std::span<const HealthRule> healthRules();

/// The rule for a list; null without one.
const HealthRule* findHealthRule(std::string_view list);

/// The health of a component with this reading and limits, which has another health now. `limitOf`
/// gives the number of a limit, if the machine has it.
template <typename LimitOf>
Health judge(const HealthRule& rule, double reading, Health now, LimitOf limitOf) {
    Health reached = Health::ok;  // crossed
    // Not yet left. A health that no limit causes stays whatever the reading is.
    const bool isFromLimit = std::any_of(rule.limits.begin(), rule.limits.end(),
                                         [&](const Limit& limit) { return limit.health == now; });
    Health held = isFromLimit ? Health::ok : now;
    for (const Limit& limit : rule.limits) {
        const std::optional<double> number = limitOf(limit);
        if (!number) {
            continue;
        }
        const double size = *number < 0 ? -*number : *number;
        const double margin = rule.hysteresis + rule.hysteresisShare * size;
        const double beyond = limit.isUpper ? reading - *number : *number - reading;
        if (beyond >= 0 && rankOf(limit.health) > rankOf(reached)) {
            reached = limit.health;
        }
        if (beyond > -margin && rankOf(limit.health) > rankOf(held)) {
            held = limit.health;
        }
    }
    if (rankOf(reached) >= rankOf(now)) {
        return reached;
    }
    return rankOf(held) < rankOf(now) ? held : now;
}

}  // namespace varnock::agent
