#include "agent/scenario/ScenarioFile.h"

#include <algorithm>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "agent/CallNames.h"
#include "agent/Health.h"
#include "agent/Refusal.h"
#include "agent/control/CtlVerbs.h"
#include "agent/faults/FaultRule.h"
#include "agent/model/JsonText.h"
#include "agent/model/MachineFile.h"
#include "agent/model/MachineModel.h"
#include "tools/EventNames.h"
#include "tools/NearestName.h"
#include "tools/Number.h"

namespace varnock::agent {
namespace {

constexpr const char* kEnd = "end";

/// What a member of a step may be. The names of what is expected are in the same order.
enum class Content { text, number, count, time, value, severity, call, rule, event };
constexpr const char* kExpected[] = {
    "a text",
    "a whole number from 0 to 4294967295",
    "a whole number from 1 to 4294967295",
    "a time such as \"5 s\"",
    "a value such as \"5400 rpm\", true or null",
    "information, warning or error",
    "the name of a call",
    "a rule such as \"getFanStatus: status 25\"",
    "the name or operation code of an event",
};

struct StepMember {
    const char* name;
    Content content;
    bool isRequired = false;
};

/// A kind of step, which is a verb of the control socket with its members. A text in place of the
/// members is the first one.
struct StepKind {
    const char* name;
    const char* verb;
    std::span<const StepMember> members;
    std::pair<const char*, const char*> fixed = {};  ///< a member of every such request
};

constexpr StepMember kSetMembers[] = {
    {"path", Content::text, true}, {"value", Content::value, true}, {"for", Content::time}};
constexpr StepMember kResetMembers[] = {{"path", Content::text, true}};
constexpr StepMember kEventMembers[] = {
    {"name", Content::event, true}, {"number", Content::number}, {"text", Content::text},
    {"ext", Content::number},       {"object", Content::number}, {"cabinet", Content::number}};
constexpr StepMember kFaultMembers[] = {{"rule", Content::rule, true}};
constexpr StepMember kLogMembers[] = {{"text", Content::text, true},
                                      {"severity", Content::severity},
                                      {"number", Content::number},
                                      {"cabinet", Content::number}};
constexpr StepMember kExpectMembers[] = {{"call", Content::call, true},
                                         {"object", Content::number},
                                         {"times", Content::count},
                                         {"within", Content::time, true}};

constexpr StepKind kStepKinds[] = {
    {"set", "set", kSetMembers, {"owner", "scenario"}},
    {"reset", "reset", kResetMembers},
    {"event", "event", kEventMembers},
    {"fault", "fault", kFaultMembers, {"do", "add"}},
    {"log", "log", kLogMembers},
    {"expect", "expect", kExpectMembers},
};

std::vector<std::string> kindNames() {
    std::vector<std::string> names;
    for (const StepKind& kind : kStepKinds) {
        names.emplace_back(kind.name);
    }
    names.emplace_back(kEnd);
    return names;
}

std::optional<AgentClock::Time> scenarioTime(const Node& value) {
    try {
        return value.IsString() ? std::optional(timeIn(std::string(textOf(value)))) : std::nullopt;
    } catch (const Refusal&) {
        return std::nullopt;
    }
}

bool isEvent(std::string_view name) {
    return parseNumber(name) ||
           std::any_of(kEventNames.begin(), kEventNames.end(),
                       [&](const EventName& known) { return known.name == name; });
}

/// Throws Refusal if there is a better reason than what is expected.
bool isOf(Content content, const Node& value) {
    switch (content) {
        case Content::number:
            return value.IsUint();
        case Content::count:
            return value.IsUint() && value.GetUint() > 0;
        case Content::time:
            return scenarioTime(value).has_value();
        case Content::value:
            return !value.IsArray() && !value.IsObject();
        default:
            break;
    }
    if (!value.IsString()) {
        return false;
    }
    const std::string text(textOf(value));
    if (content == Content::call) {
        static_cast<void>(requireCommand(text));
    } else if (content == Content::rule) {
        static_cast<void>(parseFaultRule(text));
    }
    return (content != Content::event || isEvent(text)) &&
           (content != Content::severity || severityNamed(text).has_value());
}

/// Reads a document and collects what it lacks.
class ScenarioReader {
  public:
    explicit ScenarioReader(const JsonText& text) : text_(text) {}

    Scenario read(const Node& document) {
        Scenario scenario;
        if (!document.IsObject()) {
            fault(document, "", "an object", excerpt(document));
        } else {
            checkMembers(document, "", {"name", "machine", "steps"});
            scenario.name = textMember(document, "name");
            scenario.machine =
                memberOf(document, "machine") != nullptr ? textMember(document, "machine") : "";
            const Node* list = memberOf(document, "steps");
            if (list == nullptr || !list->IsArray() || list->Empty()) {
                fault(list != nullptr ? *list : document, "steps", "a list of steps",
                      list == nullptr   ? "none"
                      : list->IsArray() ? "an empty one"
                                        : excerpt(*list));
            } else {
                readSteps(*list, scenario);
            }
        }
        raise();
        return scenario;
    }

  private:
    void fault(const Node& at, const std::string& member, const std::string& expected,
               const std::string& found) {
        complain(at, member, "expected " + expected + ", found " + found);
    }
    void complain(const Node& at, const std::string& member, const std::string& sentence) {
        if (faults_ < kFaultsShown) {
            lines_ += text_.placeOf(at) + (member.empty() ? "the scenario" : member) + ": " +
                      sentence + "\n";
        }
        ++faults_;
    }
    void raise() const {
        if (!lines_.empty()) {
            throw BadMachineFile(lines_.substr(0, lines_.size() - 1));
        }
    }

    std::string textMember(const Node& object, const char* name) {
        const Node* value = memberOf(object, name);
        if (value == nullptr || !value->IsString() || textOf(*value).empty()) {
            fault(value != nullptr ? *value : object, name, "a text",
                  value != nullptr ? excerpt(*value) : "none");
            return {};
        }
        return std::string(textOf(*value));
    }

    /// Finds members that are unknown or doubled.
    void checkMembers(const Node& object, const std::string& path,
                      const std::vector<std::string>& known) {
        std::set<std::string_view> seen;
        for (const auto& [name, unused] : object.GetObject()) {
            const std::string_view text = textOf(name);
            if (!seen.insert(text).second) {
                fault(name, path, "one member of each name", "a second " + excerpt(name));
            } else if (std::find(known.begin(), known.end(), text) == known.end()) {
                fault(name, path, alternatives(known), excerpt(name));
            }
        }
    }

    void readSteps(const Node& list, Scenario& scenario) {
        for (rapidjson::SizeType i = 0; i < list.Size(); ++i) {
            const std::string path = "steps[" + std::to_string(i) + "]";
            readStep(list[i], path, scenario);
            if (i + 1 < list.Size() && memberOf(list[i], kEnd) != nullptr) {
                fault(list[i], path, "the end as the last step", "more steps");
            }
        }
        const Node& last = list[list.Size() - 1];
        if (memberOf(last, kEnd) == nullptr) {
            fault(last, "steps", "a last step with \"end\": true", "none");
        } else if (!scenario.steps.empty() && latest_ > scenario.steps.back().at) {
            fault(last, "steps", "an end behind the times of all expectations", "an earlier one");
        }
    }

    void readStep(const Node& step, const std::string& path, Scenario& scenario) {
        if (!step.IsObject()) {
            return fault(step, path, "an object", excerpt(step));
        }
        std::vector<std::string> known = kindNames();
        known.insert(known.begin(), "at");
        checkMembers(step, path, known);
        const Node* at = memberOf(step, "at");
        const auto time = at != nullptr ? scenarioTime(*at) : std::nullopt;
        const auto before = scenario.steps.empty() ? AgentClock::Time(0) : scenario.steps.back().at;
        if (!time) {
            fault(at != nullptr ? *at : step, path + ".at", expected(Content::time),
                  at != nullptr ? excerpt(*at) : "none");
        } else if (*time < before) {
            fault(*at, path + ".at", "a time not before that of the step above", excerpt(*at));
        }
        scenario.steps.push_back({time.value_or(before)});
        readKind(step, path, scenario.steps.back());
    }

    void readKind(const Node& step, const std::string& path, ScenarioStep& result) {
        unsigned kinds = 0;
        for (const StepKind& kind : kStepKinds) {
            if (const Node* content = memberOf(step, kind.name)) {
                ++kinds;
                result.kind = kind.name;
                result.request = requestOf(*content, path + "." + kind.name, kind, result.at);
            }
        }
        if (const Node* end = memberOf(step, kEnd)) {
            ++kinds;
            result.kind = kEnd;
            if (!end->IsTrue()) {
                fault(*end, path + "." + kEnd, "true", excerpt(*end));
            }
        }
        if (kinds != 1) {
            fault(step, path, "one of " + alternatives(kindNames()),
                  kinds == 0 ? "none" : std::to_string(kinds));
        }
    }

    std::string requestOf(const Node& content, const std::string& path, const StepKind& kind,
                          AgentClock::Time at) {
        RequestText request(kind.verb);
        if (kind.fixed.first != nullptr) {
            request.add(kind.fixed.first, kind.fixed.second);
        }
        if (content.IsString()) {
            addMember(request, content, path, kind.members[0]);
            checkRequired(content, path, kind, 1);
        } else if (!content.IsObject()) {
            fault(content, path, "an object or a text", excerpt(content));
        } else {
            addMembers(request, content, path, kind);
            const Node* within = memberOf(content, "within");
            const auto time = within != nullptr ? scenarioTime(*within) : std::nullopt;
            latest_ = std::max(latest_, at + time.value_or(AgentClock::Time(0)));
        }
        return request.text();
    }

    void addMembers(RequestText& request, const Node& content, const std::string& path,
                    const StepKind& kind) {
        std::vector<std::string> known;
        for (const StepMember& member : kind.members) {
            known.emplace_back(member.name);
            if (const Node* value = memberOf(content, member.name)) {
                addMember(request, *value, path + "." + member.name, member);
            }
        }
        checkMembers(content, path, known);
        checkRequired(content, path, kind, 0);
    }

    void checkRequired(const Node& content, const std::string& path, const StepKind& kind,
                       std::size_t first) {
        for (const StepMember& member : kind.members.subspan(first)) {
            if (member.isRequired && memberOf(content, member.name) == nullptr) {
                fault(content, path, "the member \"" + std::string(member.name) + "\"", "none");
            }
        }
    }

    void addMember(RequestText& request, const Node& value, const std::string& path,
                   const StepMember& member) {
        try {
            if (!isOf(member.content, value)) {
                return fault(value, path, expected(member.content), excerpt(value));
            }
        } catch (const Refusal& reason) {
            return complain(value, path, reason.what());
        }
        if (member.content == Content::number || member.content == Content::count) {
            request.add(member.name, std::uint64_t{value.GetUint()});
        } else {
            request.add(member.name, value.IsString() ? std::string(textOf(value))
                                                      : MachineModel::jsonOf(value));
        }
    }

    static const char* expected(Content content) {
        return kExpected[static_cast<std::size_t>(content)];
    }

    const JsonText& text_;
    std::string lines_;
    std::size_t faults_ = 0;
    AgentClock::Time latest_{0};  ///< end of the last expectation
};

}  // namespace

bool isScenario(const Node& document) {
    return memberOf(document, "steps") != nullptr;
}

Scenario readScenario(const std::string& text, const std::string& file) {
    JsonText json(text, file);
    Document document;
    std::string fault;
    if (!json.read(document, fault)) {
        throw BadMachineFile(fault);
    }
    return ScenarioReader(json).read(document);
}

Scenario loadScenario(const std::string& name) {
    const std::string path = shippedPath("scenario", name);
    return readScenario(textOfFile(path), path);
}

}  // namespace varnock::agent
