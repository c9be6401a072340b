#include "agent/control/ExpectVerbs.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "agent/faults/FaultRule.h"

namespace varnock::agent {
namespace {

/// The call's name; the numbers of a command that no call sends.
std::string commandName(const CallCounts::Key& command) {
    std::string name = callOf(command.opcode, command.ext);
    if (name.empty()) {
        char numbers[48];
        std::snprintf(numbers, sizeof numbers, "0x%04X ext 0x%04X", command.opcode, command.ext);
        name = numbers;
    }
    return name;
}

void listCalls(const CallCounts& counts, JsonDocument& reply) {
    auto& memory = reply.GetAllocator();
    std::map<std::pair<std::string, unsigned>, CallCounts::Count> calls;
    for (const auto& [command, count] : counts.all()) {
        CallCounts::Count& sum = calls[{commandName(command), command.object}];
        sum.times += count.times;
        sum.last = std::max(sum.last, count.last);
    }
    Json list(rapidjson::kArrayType);
    for (const auto& [call, count] : calls) {
        Json item(rapidjson::kObjectType);
        add(item, "call", call.first, memory);
        add(item, "object", Json(call.second), memory);
        add(item, "times", Json(count.times), memory);
        add(item, "last", Json(static_cast<double>(count.last.count()) / 1e6), memory);
        list.PushBack(item, memory);
    }
    add(reply, "calls", std::move(list), memory);
    if (counts.others() > 0) {
        add(reply, "others", Json(counts.others()), memory);
    }
}

std::string metText(const std::string& call, unsigned times) {
    JsonDocument reply(rapidjson::kObjectType);
    auto& memory = reply.GetAllocator();
    add(reply, "ok", Json(true), memory);
    add(reply, "call", call, memory);
    add(reply, "times", Json(times), memory);
    return toString(reply, false);
}

std::shared_ptr<LateReply> expectCall(CallCounts& counts, const Json& request) {
    const std::string call = textOf(request, "call");
    const std::string within = textOf(request, "within");
    const unsigned times = findNumber(request, "times").value_or(1);
    if (times == 0) {
        throw Refusal("\"times\" must be at least 1");
    }
    auto reply = std::make_shared<LateReply>();
    const auto judge = [=, late = std::weak_ptr(reply)](unsigned seen) {
        const auto waiting = late.lock();
        if (waiting && seen < times) {
            waiting->give(refusalText(call + " was asked " + std::to_string(seen) + " of " +
                                      std::to_string(times) + " times within " + within));
        } else if (waiting) {
            waiting->give(metText(call, seen));
        }
    };
    counts.expect({requireCommand(call), findNumber(request, "object"), times, timeIn(within)},
                  judge);
    return reply;
}

}  // namespace

void addCallVerbs(Control& control, CallCounts& counts) {
    control.add("calls", [&counts](const Json&, JsonDocument& reply) { listCalls(counts, reply); });
    control.addLate("expect",
                    [&counts](const Json& request) { return expectCall(counts, request); });
}

}  // namespace varnock::agent
