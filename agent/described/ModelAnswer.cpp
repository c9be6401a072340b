#include "agent/described/ModelAnswer.h"

#include <algorithm>

#include "agent/described/Exchange.h"

namespace varnock::agent {
namespace {

bool refersToName(const Route& route) {
    return route.row->data == "text name";
}

bool changesValues(const Route& route) {
    return route.answer == acceptValue || route.answer == acceptAction;
}

Answer withoutData(const char* reason) {
    Answer answer(Status::notAvailable);
    answer.reason = reason;
    return answer;
}

}  // namespace

const Route* ModelAnswer::routeOf(const Command& command) const {
    const auto* routes = table_.find(command.opcode, command.extension);
    if (routes == nullptr) {
        return nullptr;
    }
    const auto found = std::find_if(routes->begin(), routes->end(), [&](const Route& route) {
        return !route.object || *route.object == command.object;
    });
    return found != routes->end() ? &*found : nullptr;
}

Answer ModelAnswer::answer(const Command& command) {
    const Route* const route = routeOf(command);
    if (route == nullptr) {
        const bool isKnown = table_.find(command.opcode, command.extension) != nullptr;
        return withoutData(absenceText(isKnown ? Absence::object : Absence::value));
    }
    if (changesValues(*route) && changes_ == Changes::refused) {
        return withoutData("clients cannot change this machine");
    }
    std::string name;
    if (refersToName(*route)) {
        command.record.GetDataString(name);
    }
    Exchange exchange{command,
                      *route,
                      model_,
                      scans_,
                      {command.cabinet, command.object, command.extension, name}};
    Answer answer = route->answer(exchange);
    answer.path = pathText(exchange.piece().path, exchange.arguments);
    return answer;
}

const catalogue::ModelPath* ModelAnswer::pathOf(const Command& command) const {
    const Route* const route = routeOf(command);
    return route != nullptr ? &route->pieces.front().path : nullptr;
}

}  // namespace varnock::agent
