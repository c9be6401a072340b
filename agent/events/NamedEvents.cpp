#include "agent/events/NamedEvents.h"

#include <algorithm>
#include <utility>

#include "agent/Refusal.h"
#include "tools/EventNames.h"
#include "tools/NearestName.h"
#include "tools/Number.h"

namespace varnock::agent {
namespace {

void raiseOpcode(EventSink& sink, unsigned opcode, const EventArguments& arguments) {
    SipJson event(opcode, arguments.ext, arguments.object, arguments.cabinet, 0);
    // Setting the data sets the status too.
    if (arguments.number) {
        event.SetDataDWord(*arguments.number, 0);
    } else if (arguments.text) {
        event.SetDataString(arguments.text->c_str(), 0);
    }
    sink.raise(event);
}

Refusal unknown(const std::string& name, const std::vector<NamedEvent>& events) {
    std::vector<std::string> names;
    names.reserve(events.size());
    for (const NamedEvent& event : events) {
        names.push_back(event.name);
    }
    const std::string nearest = nearestName(name, names);
    return Refusal("there is no event \"" + name + "\"" +
                   (nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?"));
}

}  // namespace

NamedEvents::NamedEvents(EventSink& sink) : sink_(sink) {
    for (const EventName& known : kEventNames) {
        define({std::string(known.name), "NUMBER", std::string(known.meaning),
                [this, opcode = known.opcode](const EventArguments& arguments) {
                    raiseOpcode(sink_, static_cast<unsigned>(opcode), arguments);
                }});
    }
}

void NamedEvents::define(NamedEvent event) {
    const auto same = std::find_if(events_.begin(), events_.end(), [&](const NamedEvent& other) {
        return other.name == event.name;
    });
    if (same != events_.end()) {
        *same = std::move(event);
    } else {
        events_.push_back(std::move(event));
    }
}

void NamedEvents::raise(const std::string& name, const EventArguments& arguments) {
    for (const NamedEvent& event : events_) {
        if (event.name == name) {
            event.raise(arguments);
            return;
        }
    }
    const auto opcode = parseNumber(name);
    if (!opcode) {
        throw unknown(name, events_);
    }
    raiseOpcode(sink_, *opcode, arguments);
}

}  // namespace varnock::agent
