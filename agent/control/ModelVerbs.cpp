#include "agent/control/ModelVerbs.h"

#include <array>
#include <stdexcept>
#include <utility>

#include "agent/control/Control.h"
#include "agent/described/MachineLog.h"
#include "agent/described/SavedState.h"
#include "agent/model/Notation.h"
#include "tools/NearestName.h"

namespace varnock::agent {
namespace {

constexpr std::array kModelVerbs = {"get", "set", "reset", "list", "overrides", "save", "log"};

void getValue(MachineModel& model, const Json& request, JsonDocument& reply) {
    auto& memory = reply.GetAllocator();
    add(reply, "value", fromString(model.get(textOf(request, "path")), memory), memory);
}

std::optional<double> secondsIn(const Json& request) {
    const auto text = findText(request, "for");
    if (!text) {
        return std::nullopt;
    }
    const auto seconds = parseDuration(*text);
    return seconds ? seconds : throw Refusal("\"" + *text + "\" is not a time such as \"30 s\"");
}

void setValue(MachineModel& model, const Json& request, JsonDocument&) {
    model.set(textOf(request, "path"), textOf(request, "value"),
              findText(request, "owner").value_or("ctl"), secondsIn(request));
}

void takeBack(MachineModel& model, const Json& request, JsonDocument&) {
    if (isSet(request, "all")) {
        model.resetAll();
    } else if (!model.reset(textOf(request, "path"))) {
        throw Refusal(textOf(request, "path") + " is not overridden");
    }
}

void listValues(MachineModel& model, const Json& request, JsonDocument& reply) {
    auto& memory = reply.GetAllocator();
    Json values(rapidjson::kArrayType);
    for (const Listed& each : model.values(findText(request, "path").value_or(""))) {
        Json item(rapidjson::kObjectType);
        add(item, "path", each.path, memory);
        add(item, "value", fromString(each.value, memory), memory);
        values.PushBack(item, memory);
    }
    add(reply, "values", std::move(values), memory);
}

void listOverrides(MachineModel& model, const Json&, JsonDocument& reply) {
    auto& memory = reply.GetAllocator();
    Json items(rapidjson::kArrayType);
    for (const Override& each : model.overrides()) {
        Json item(rapidjson::kObjectType);
        add(item, "path", each.path, memory);
        add(item, "value", fromString(model.look(each.path), memory), memory);
        add(item, "modelValue", fromString(MachineModel::jsonOf(each.machineValue), memory),
            memory);
        add(item, "owner", each.owner, memory);
        add(item, "secondsLeft", each.ends ? Json(*each.ends - model.now().sinceStart) : Json(),
            memory);
        items.PushBack(item, memory);
    }
    add(reply, "overrides", std::move(items), memory);
}

using ModelWork = void (*)(MachineModel&, const Json&, JsonDocument&);

/// A verb whose mistakes are those of its sender.
Verb modelVerb(MachineModel& model, ModelWork work) {
    return [&model, work](const Json& request, JsonDocument& reply) {
        try {
            work(model, request, reply);
        } catch (const UnknownPath& mistake) {
            const std::string path = textOf(request, "path");
            const std::string nearest = nearestName(path, model.list(""));
            const bool helps = !nearest.empty() && nearest != path;
            throw Refusal(mistake.what() + (helps ? "; did you mean \"" + nearest + "\"?" : ""));
        } catch (const std::invalid_argument& mistake) {
            throw Refusal(mistake.what());
        }
    };
}

}  // namespace

void addModelVerbs(Control& control, MachineModel& model) {
    constexpr std::pair<const char*, ModelWork> verbs[] = {{"get", getValue},
                                                           {"set", setValue},
                                                           {"reset", takeBack},
                                                           {"list", listValues},
                                                           {"overrides", listOverrides}};
    for (const auto& [name, work] : verbs) {
        control.add(name, modelVerb(model, work));
    }
}

void addSaveVerb(Control& control, std::function<std::string()> state) {
    control.add("save", [state = std::move(state)](const Json& request, JsonDocument& reply) {
        const std::string file = textOf(request, "file");
        saveState(file, state());
        add(reply, "file", file, reply.GetAllocator());
    });
}

void addLogVerb(Control& control, MachineLog& log) {
    control.add("log", [&log](const Json& request, JsonDocument&) {
        const auto given = findText(request, "severity");
        const auto severity = given ? severityNamed(*given) : Severity::information;
        if (!severity) {
            throw Refusal("\"severity\" must be information, warning or error");
        }
        const unsigned cabinet = findNumber(request, "cabinet").value_or(0);
        if (!log.appendTo(cabinet, {findNumber(request, "number").value_or(0), *severity,
                                    textOf(request, "text")})) {
            throw Refusal("cabinet " + std::to_string(cabinet) +
                          " has no message log, or a full one that keeps its entries");
        }
    });
}

void refuseModelVerbs(Control& control) {
    for (const char* name : kModelVerbs) {
        control.add(name, [](const Json&, JsonDocument&) {
            throw Refusal(
                "the values of this machine cannot be changed; those of the host, or of a machine "
                "that a file describes, can: see --host and --machine");
        });
    }
}

}  // namespace varnock::agent
