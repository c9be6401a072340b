#include "agent/control/LayerVerbs.h"

#include <optional>

namespace varnock::agent {
namespace {

/// What is left of a rule: how many commands can still be hit, or "ended" after its time.
Json remaining(const FaultRules::Entry& entry, const AgentClock& clock, JsonAllocator& memory) {
    const FaultMatch& match = entry.rule.match;
    if (match.until && clock.now() >= *match.until) {
        return text("ended", memory);
    }
    const std::optional<unsigned> times = mostHits(match);
    return times ? Json(*times - entry.hits) : text("unlimited", memory);
}

void listRules(const FaultRules& rules, const AgentClock& clock, JsonDocument& reply) {
    auto& memory = reply.GetAllocator();
    Json list(rapidjson::kArrayType);
    for (const FaultRules::Entry& entry : rules.all()) {
        Json item(rapidjson::kObjectType);
        add(item, "number", Json(entry.number), memory);
        add(item, "rule", entry.text, memory);
        add(item, "seen", Json(entry.seen), memory);
        add(item, "hits", Json(entry.hits), memory);
        add(item, "remaining", remaining(entry, clock, memory), memory);
        list.PushBack(item, memory);
    }
    add(reply, "faults", std::move(list), memory);
}

void clearRules(FaultRules& rules, const Json& request) {
    const auto number = findNumber(request, "number");
    if (number) {
        rules.remove(*number);
    } else {
        rules.clear();
    }
}

void changeRules(FaultRules& rules, const AgentClock& clock, const Json& request,
                 JsonDocument& reply) {
    const std::string what = textOf(request, "do");
    if (what == "add") {
        const unsigned number = rules.add(textOf(request, "rule"));
        add(reply, "number", Json(number), reply.GetAllocator());
    } else if (what == "list") {
        listRules(rules, clock, reply);
    } else if (what == "clear") {
        clearRules(rules, request);
    } else {
        throw Refusal("\"do\" must be add, list or clear");
    }
}

void changeTranscript(Transcript& transcript, const Json& request, JsonDocument& reply) {
    if (const auto file = findText(request, "file")) {
        transcript.start(*file);
    } else if (isSet(request, "off")) {
        transcript.stop();
    }
    auto& memory = reply.GetAllocator();
    add(reply, "on", Json(transcript.isOn()), memory);
    add(reply, "file", transcript.path(), memory);
    add(reply, "records", Json(transcript.records()), memory);
}

}  // namespace

void addFaultVerb(Control& control, FaultRules& rules, const AgentClock& clock) {
    control.add("fault", [&](const Json& request, JsonDocument& reply) {
        changeRules(rules, clock, request, reply);
    });
}

void addTranscriptVerb(Control& control, Transcript& transcript) {
    control.add("transcript", [&](const Json& request, JsonDocument& reply) {
        changeTranscript(transcript, request, reply);
    });
}

void addClockVerb(Control& control, AgentClock& clock) {
    control.add("advance", [&](const Json& request, JsonDocument& reply) {
        clock.advance(timeIn(textOf(request, "by")));
        add(reply, "now", Json(static_cast<double>(clock.now().count()) / 1e6),
            reply.GetAllocator());
    });
}

}  // namespace varnock::agent
