#include "agent/control/ServerVerbs.h"

#include <unistd.h>

#include <cstdint>

#include "agent/Server.h"

namespace varnock::agent {
namespace {

Json number(std::size_t count) {
    return Json(static_cast<std::uint64_t>(count));
}

void addScenario(const ScenarioPlayer& scenario, double now, JsonDocument& reply) {
    auto& memory = reply.GetAllocator();
    add(reply, "scenario", scenario.name(), memory);
    add(reply, "scenarioTime", Json(now), memory);
    add(reply, "scenarioSteps", number(scenario.steps()), memory);
    add(reply, "scenarioStepsDone", number(scenario.stepsDone()), memory);
    Json failures(rapidjson::kArrayType);
    for (const ScenarioPlayer::Failure& failure : scenario.failures()) {
        Json item(rapidjson::kObjectType);
        add(item, "at", Json(static_cast<double>(failure.at.count()) / 1e6), memory);
        add(item, "failure", failure.reason, memory);
        failures.PushBack(item, memory);
    }
    add(reply, "failedExpectations", std::move(failures), memory);
}

void status(const Server& server, JsonDocument& reply) {
    auto& memory = reply.GetAllocator();
    add(reply, "directory", server.directory(), memory);
    add(reply, "process", Json(static_cast<int>(getpid())), memory);
    add(reply, "machine", server.machineName(), memory);
    add(reply, "requestConnections", number(server.connections(Channel::requests)), memory);
    add(reply, "eventConnections", number(server.connections(Channel::events)), memory);
    add(reply, "registeredForEvents", number(server.listeners()), memory);
    add(reply, "eventsPushed", number(server.eventsPushed()), memory);
    add(reply, "faultRules", number(server.faults().all().size()), memory);
    if (server.transcript().isOn()) {
        add(reply, "transcript", server.transcript().path(), memory);
    }
    if (const ScenarioPlayer* scenario = server.scenario()) {
        addScenario(*scenario, static_cast<double>(server.clock().now().count()) / 1e6, reply);
    }
}

void raiseEvent(Server& server, const Json& request, JsonDocument& reply) {
    EventArguments arguments;
    arguments.number = findNumber(request, "number");
    arguments.text = findText(request, "text");
    arguments.ext = findNumber(request, "ext").value_or(0);
    arguments.object = findNumber(request, "object").value_or(0);
    arguments.cabinet = findNumber(request, "cabinet").value_or(0);
    server.namedEvents().raise(textOf(request, "name"), arguments);
    server.events().sendAll();
    add(reply, "listeners", number(server.listeners()), reply.GetAllocator());
}

void listEvents(const NamedEvents& events, JsonDocument& reply) {
    auto& memory = reply.GetAllocator();
    Json list(rapidjson::kArrayType);
    for (const NamedEvent& event : events.all()) {
        Json item(rapidjson::kObjectType);
        add(item, "event", event.name, memory);
        add(item, "arguments", event.arguments, memory);
        add(item, "meaning", event.meaning, memory);
        list.PushBack(item, memory);
    }
    add(reply, "events", std::move(list), memory);
}

}  // namespace

void addServerVerbs(Control& control, Server& server) {
    control.add("status", [&server](const Json&, JsonDocument& reply) { status(server, reply); });
    control.add("event", [&server](const Json& request, JsonDocument& reply) {
        raiseEvent(server, request, reply);
    });
    control.add("events", [&server](const Json&, JsonDocument& reply) {
        listEvents(server.namedEvents(), reply);
    });
}

}  // namespace varnock::agent
