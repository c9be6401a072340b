#include "cli/Commands.h"
#include "cli/output/Failure.h"
#include "cli/sensors/Sensor.h"

namespace varnockctl {
namespace {

Json numberJson(const Sensor::Number& number) {
    return number ? Json(*number) : Json();
}

Json stateJson(const Sensor& sensor, JsonAllocator& allocator) {
    const std::string_view state = stateOf(sensor);
    return state.empty() ? Json() : text(state, allocator);
}

Json sensorJson(const Sensor& sensor, JsonAllocator& allocator) {
    Json limits(rapidjson::kObjectType);
    add(limits, "low", numberJson(sensor.low), allocator);
    add(limits, "high", numberJson(sensor.high), allocator);
    add(limits, "nominal", numberJson(sensor.nominal), allocator);
    add(limits, "warning", numberJson(sensor.warning), allocator);
    add(limits, "critical", numberJson(sensor.critical), allocator);
    Json out(rapidjson::kObjectType);
    add(out, "cabinet", Json(sensor.cabinet), allocator);
    add(out, "type", std::string_view(sensor.type), allocator);
    add(out, "object", Json(sensor.object), allocator);
    add(out, "powerClass", numberJson(sensor.powerClass), allocator);
    add(out, "name", sensor.name ? text(*sensor.name, allocator) : Json(), allocator);
    add(out, "state", stateJson(sensor, allocator), allocator);
    add(out, "stateCode", numberJson(sensor.stateCode), allocator);
    add(out, "value", numberJson(sensor.value), allocator);
    add(out, "unit", sensor.unit, allocator);
    add(out, "quality", numberJson(sensor.quality), allocator);
    add(out, "qualityUnit", "percent", allocator);
    add(out, "limits", std::move(limits), allocator);
    return out;
}

std::string nameOf(const Sensor& sensor) {
    return sensor.name && !sensor.name->empty()
               ? *sensor.name
               : std::string(sensor.type) + " " + std::to_string(sensor.object);
}

std::string readingOf(const Sensor& sensor) {
    return sensor.value ? std::to_string(*sensor.value) + " " + symbolOf(sensor.unit) : "-";
}

/// The limits in words, without the unit, which the reading has.
std::string limitsOf(const Sensor& sensor) {
    std::string out;
    const auto say = [&](const std::string& words) {
        out.append(out.empty() ? "" : ", ").append(words);
    };
    const auto sayNumber = [&](const char* word, const Sensor::Number& number) {
        if (number) {
            say(word + std::to_string(*number));
        }
    };
    sayNumber("warning ", sensor.warning);
    sayNumber("critical ", sensor.critical);
    if (sensor.low && sensor.high) {
        say(std::to_string(*sensor.low) + " to " + std::to_string(*sensor.high));
    }
    sayNumber("nominal ", sensor.nominal);
    if (sensor.quality) {
        say("quality " + std::to_string(*sensor.quality) + " %");
    }
    return out;
}

Json lineOf(const Sensor& sensor, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    add(out, "type", std::string_view(sensor.type), allocator);
    add(out, "sensor", nameOf(sensor), allocator);
    add(out, "state", stateJson(sensor, allocator), allocator);
    add(out, "reading", readingOf(sensor), allocator);
    add(out, "range", barOf(sensor), allocator);
    add(out, "limits", limitsOf(sensor), allocator);
    return out;
}

bool isNotWell(const Sensor& sensor) {
    const std::string_view state = stateOf(sensor);
    return state == "warning" || state == "critical" || state == "failed";
}

/// A summary of the sensors that are not "ok", then a table for each cabinet.
Json viewOf(const std::vector<Sensor>& sensors, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    std::string notWell;
    for (const Sensor& sensor : sensors) {
        if (isNotWell(sensor)) {
            notWell.append(notWell.empty() ? "" : ", ")
                .append(nameOf(sensor) + " ")
                .append(stateOf(sensor));
        }
    }
    if (!notWell.empty()) {
        add(out, "not well", notWell, allocator);
    }
    for (std::size_t i = 0; i < sensors.size();) {
        const unsigned int cabinet = sensors[i].cabinet;
        Json lines(rapidjson::kArrayType);
        for (; i < sensors.size() && sensors[i].cabinet == cabinet; ++i) {
            lines.PushBack(lineOf(sensors[i], allocator), allocator);
        }
        out.AddMember(text("cabinet " + std::to_string(cabinet), allocator), lines, allocator);
    }
    return out;
}

}  // namespace

Answer runSensors(const Options& options) {
    Session session(options);
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    MachineReader machine(session, allocator);
    std::vector<Sensor> sensors = readSensors(machine);
    const bool hasSensors = !sensors.empty();
    options.selection.apply(sensors, sensorJson);
    Json rows(rapidjson::kArrayType);
    for (const Sensor& sensor : sensors) {
        rows.PushBack(sensorJson(sensor, allocator), allocator);
    }
    answer.shown = "sensors";
    answer.view = viewOf(sensors, allocator);
    answer.document.SetObject();
    add(answer.document, "sensors", std::move(rows), allocator);
    add(answer.document, "unavailable", machine.takeUnavailable(), allocator);
    if (!machine.failure().empty()) {
        answer.fail(ExitStatus::partial, machine.failure());
    } else if (hasSensors) {
        options.selection.judge(answer, sensors.empty());
    } else {
        answer.fail(ExitStatus::notAvailable, "the machine reports no sensors");
    }
    return answer;
}

}  // namespace varnockctl
