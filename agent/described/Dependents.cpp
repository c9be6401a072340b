#include "agent/described/Dependents.h"

#include <algorithm>
#include <utility>

#include "agent/model/Values.h"

namespace varnock::agent {
namespace {

constexpr const char* kStatus = "status";
/// The owner of the overrides that a loss brings with it.
constexpr const char* kLossOwner = "loss";
constexpr unsigned kRedundancyMessage = 2002;

/// How severe it is that a component gets a health.
Severity severityOf(Health health) {
    return health == Health::ok                       ? Severity::information
           : rankOf(health) >= rankOf(Health::failed) ? Severity::error
                                                      : Severity::warning;
}

Node nodeOfName(Health health, JsonHeap& heap) {
    const std::string_view name = nameOf(health);
    return Node(name.data(), static_cast<rapidjson::SizeType>(name.size()), heap);
}

const Node* listOf(const Node& cabinet, const char* name) {
    const Node* list = memberOf(cabinet, name);
    return list != nullptr && list->IsArray() ? list : nullptr;
}

Node* treeNode(Node& cabinet, std::string_view name) {
    Node* tree = memberOf(cabinet, "statusTree");
    if (tree == nullptr || !tree->IsArray()) {
        return nullptr;
    }
    for (Node& element : tree->GetArray()) {
        const Node* known = memberOf(element, "name");
        if (known != nullptr && known->IsString() && textOf(*known) == name) {
            return &element;
        }
    }
    return nullptr;
}

void setNode(Node* node, Health health, JsonHeap& heap) {
    for (const char* member : {"cssStatus", "gelStatus"}) {
        if (Node* value = node != nullptr ? memberOf(*node, member) : nullptr) {
            *value = nodeOfName(health, heap);
        }
    }
}

/// Nodes show how bad a component is, not that it is absent.
Health shownHealth(Health health) {
    return health == Health::absent ? Health::failed : health;
}

bool isLimit(const HealthRule& rule, const catalogue::Step& step) {
    return std::any_of(rule.limits.begin(), rule.limits.end(), [&](const Limit& limit) {
        return limit.member != nullptr && std::string_view(limit.member).starts_with(step.member);
    });
}

}  // namespace

void Dependents::update(const std::string& changed) {
    const catalogue::ModelPath path = catalogue::modelPath(changed);
    if (changed == "system.powerSuppliesRequired") {
        return updateRedundancy();
    }
    const auto component = componentOf(path);
    if (!component) {
        return;
    }
    const catalogue::Step& last = path.steps.back();
    if (last.member == kStatus) {
        statusChanged(*component);
    } else if (component->rule.reading != nullptr &&
               (last.member == component->rule.reading || isLimit(component->rule, last))) {
        judgeReading(*component);
    }
}

bool Dependents::followCurves() {
    bool isAny = false;
    for (unsigned cabinet = 0; cabinetAt(cabinet) != nullptr; ++cabinet) {
        for (const HealthRule& rule : healthRules()) {
            const Node* list =
                rule.reading != nullptr ? listOf(*cabinetAt(cabinet), rule.list) : nullptr;
            const unsigned size = list != nullptr ? list->Size() : 0;
            for (unsigned object = 0; object < size; ++object) {
                const Component component{rule, cabinet, object};
                const Node* reading = nodeOf(component, rule.reading);
                if (reading != nullptr && reading->IsObject()) {
                    judgeReading(component);
                    isAny = isChanging(component) || isAny;
                }
            }
        }
    }
    return isAny;
}

/// A status that comes back may not fit the reading any more.
void Dependents::statusChanged(const Component& component) {
    const auto before = healthOf(nodeOf(component, kStatus));
    judgeReading(component);
    if (healthOf(nodeOf(component, kStatus)) == before) {
        spread(component);
    }
}

bool Dependents::isChanging(const Component& component) {
    const Node* reading = nodeOf(component, component.rule.reading);
    return reading != nullptr && changesAfter(*reading, model_.now().sinceStart);
}

std::optional<Dependents::Component> Dependents::componentOf(
    const catalogue::ModelPath& path) const {
    if (path.steps.size() != 3 || path.steps[0].member != "cabinets") {
        return std::nullopt;
    }
    const HealthRule* rule = findHealthRule(path.steps[1].member);
    return rule != nullptr
               ? std::optional(Component{*rule, path.steps[0].literal, path.steps[1].literal})
               : std::nullopt;
}

std::string Dependents::pathOf(const Component& component, const std::string& member) const {
    return "cabinets[" + std::to_string(component.cabinet) + "]." + component.rule.list + "[" +
           std::to_string(component.object) + "]." + member;
}

Node* Dependents::nodeOf(const Component& component, const std::string& member) {
    const std::string path = pathOf(component, member);
    return model_.find(catalogue::modelPath(path)).value;
}

void Dependents::judgeReading(const Component& component) {
    const auto now = healthOf(nodeOf(component, kStatus));
    if (!now || *now == Health::unknown || *now == Health::absent ||
        component.rule.reading == nullptr || isResidue(pathOf(component, component.rule.reading))) {
        return;
    }
    if (const auto judged = healthByReading(component, *now)) {
        put(pathOf(component, kStatus), *judged);
    }
}

/// The health by the reading, of a component that has another one now.
std::optional<Health> Dependents::healthByReading(const Component& component, Health now) {
    const char* member = component.rule.reading;
    const auto reading =
        member != nullptr ? model_.number(pathOf(component, member)) : std::nullopt;
    if (!reading) {
        return std::nullopt;
    }
    return judge(component.rule, *reading, now, [&](const Limit& limit) {
        return limit.member != nullptr ? model_.number(pathOf(component, limit.member))
                                       : std::optional(limit.constant);
    });
}

bool Dependents::isResidue(const std::string& path) {
    const auto& overrides = model_.overrides();
    return std::any_of(overrides.begin(), overrides.end(), [&](const Override& each) {
        return each.path == path && each.owner == kLossOwner;
    });
}

/// Changes all that depends on the status of a component.
void Dependents::spread(const Component& component) {
    const Health health = healthOf(nodeOf(component, kStatus)).value_or(Health::unknown);
    leaveResidues(component, rankOf(health) == rankOf(Health::failed));
    updateTree(component);
    updateSystem();
    const auto index = static_cast<std::size_t>(health);
    const Node* label = nodeOf(component, component.rule.label);
    std::string text = label != nullptr && label->IsString()
                           ? std::string(textOf(*label))
                           : component.rule.node + std::to_string(component.object + 1);
    text.append(": ").append(component.rule.remarks[index].text);
    log_.append(component.cabinet,
                {component.rule.remarks[index].message, severityOf(health), std::move(text)});
    updateRedundancy();
}

/// A user's override stays, and so does a reading that is the cause of the loss.
void Dependents::leaveResidues(const Component& component, bool isLost) {
    for (const Residue& residue : component.rule.residues) {
        const std::string path = pathOf(component, residue.member);
        const auto& overrides = model_.overrides();
        const bool isFree = std::none_of(overrides.begin(), overrides.end(),
                                         [&](const Override& each) { return each.path == path; });
        const bool isCause = component.rule.reading != nullptr &&
                             std::string_view(component.rule.reading) == residue.member &&
                             healthByReading(component, Health::ok) == Health::failed;
        if (isLost && isFree && !isCause && nodeOf(component, residue.member) != nullptr) {
            model_.set(path, residue.value, kLossOwner, std::nullopt);
        } else if (!isLost && isResidue(path)) {
            model_.reset(path);
        }
    }
}

void Dependents::updateTree(const Component& component) {
    Node* cabinet = cabinetAt(component.cabinet);
    const Health own = healthOf(nodeOf(component, kStatus)).value_or(Health::unknown);
    const HealthRule& rule = component.rule;
    JsonHeap& heap = model_.heap();
    setNode(treeNode(*cabinet, rule.node + std::to_string(component.object + 1)), shownHealth(own),
            heap);
    setNode(treeNode(*cabinet, rule.group), shownHealth(worstOf(*cabinet, rule)), heap);
    setNode(treeNode(*cabinet, "Root"), shownHealth(worstOf(*cabinet)), heap);
}

void Dependents::updateSystem() {
    Health worst = Health::ok;
    for (unsigned i = 0; const Node* cabinet = cabinetAt(i); ++i) {
        worst = worse(worst, worstOf(*cabinet));
    }
    put("system.status", shownHealth(worst));
}

/// Redundancy is lost when no more supplies of the server's own cabinet work than it needs.
void Dependents::updateRedundancy() {
    const auto needed = model_.number("system.powerSuppliesRequired");
    const Node* cabinet = cabinetAt(0);
    const Node* supplies = cabinet != nullptr ? listOf(*cabinet, "powerSupplies") : nullptr;
    if (!needed || supplies == nullptr) {
        return;
    }
    const auto working = std::count_if(supplies->Begin(), supplies->End(), [](const Node& supply) {
        const auto health = healthOf(memberOf(supply, kStatus));
        return health && rankOf(*health) < rankOf(Health::failed);
    });
    const bool isRedundant = static_cast<double>(working) > *needed;
    const Health health = isRedundant ? Health::ok : Health::failed;
    put("system.redundancyConfiguration", health);
    if (put("system.redundancyThreshold", health)) {
        log_.append(
            0, {kRedundancyMessage, severityOf(health),
                isRedundant ? "Power supply redundancy restored" : "Power supply redundancy lost"});
    }
}

Health Dependents::worstOf(const Node& cabinet, const HealthRule& rule) const {
    Health worst = Health::ok;
    if (const Node* list = listOf(cabinet, rule.list)) {
        for (const Node& element : list->GetArray()) {
            worst = worse(worst, healthOf(memberOf(element, kStatus)).value_or(Health::unknown));
        }
    }
    return worst;
}

Health Dependents::worstOf(const Node& cabinet) const {
    Health worst = Health::ok;
    for (const HealthRule& rule : healthRules()) {
        worst = worse(worst, worstOf(cabinet, rule));
    }
    return worst;
}

Node* Dependents::cabinetAt(unsigned position) {
    const std::string path = "cabinets[" + std::to_string(position) + "]";
    return model_.find(catalogue::modelPath(path)).value;
}

/// False if the machine does not have the value or had it before.
bool Dependents::put(const std::string& path, Health health) {
    const Node* value = model_.find(catalogue::modelPath(path)).value;
    return value != nullptr && healthOf(value) != health &&
           model_.write(catalogue::modelPath(path), {}, nodeOfName(health, model_.heap()));
}

}  // namespace varnock::agent
