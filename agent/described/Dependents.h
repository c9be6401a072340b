#pragma once

#include <string>

#include "agent/described/HealthRule.h"
#include "agent/described/MachineLog.h"
#include "agent/model/MachineModel.h"

namespace varnock::agent {

/// Keeps what depends on the components of a machine, by the rules in HealthRule.h: a reading
/// beyond a limit changes the status of its component; a status changes the node of the status
/// tree, those above, the status of the system, the redundancy of the power supplies, and is
/// logged.
class Dependents {
  public:
    Dependents(MachineModel& model, MachineLog& log) : model_(model), log_(log) {}

    /// Must be called with the path of each value that has changed.
    void update(const std::string& changed);

    /// Judges the readings that follow a curve. False if none will change from now on.
    bool followCurves();

  private:
    /// A component: positions of its cabinet and in the list of the rule.
    struct Component {
        const HealthRule& rule;
        unsigned cabinet;
        unsigned object;
    };

    std::optional<Component> componentOf(const catalogue::ModelPath& path) const;
    std::string pathOf(const Component& component, const std::string& member) const;
    Node* nodeOf(const Component& component, const std::string& member);

    void statusChanged(const Component& component);
    void judgeReading(const Component& component);
    std::optional<Health> healthByReading(const Component& component, Health now);
    bool isResidue(const std::string& path);
    void spread(const Component& component);
    void leaveResidues(const Component& component, bool isLost);
    void updateTree(const Component& component);
    void updateSystem();
    void updateRedundancy();
    Health worstOf(const Node& cabinet, const HealthRule& rule) const;
    Health worstOf(const Node& cabinet) const;
    Node* cabinetAt(unsigned position);
    bool put(const std::string& path, Health health);
    bool isChanging(const Component& component);

    MachineModel& model_;
    MachineLog& log_;
};

}  // namespace varnock::agent
