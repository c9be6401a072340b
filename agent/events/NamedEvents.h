#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/events/EventSink.h"

namespace varnock::agent {

/// What a user gives with the name of an event.
struct EventArguments {
    std::optional<unsigned> number = std::nullopt;
    std::optional<std::string> text = std::nullopt;
    unsigned ext = 0;
    unsigned object = 0;
    unsigned cabinet = 0;
};

/// An event that can be raised by its name.
struct NamedEvent {
    std::string name;
    std::string arguments;  ///< for users: "NUMBER", "--object N"
    std::string meaning;    ///< for users, a few words in lower case
    /// Throws Refusal if an argument is missing or wrong.
    std::function<void(const EventArguments&)> raise;
};

/// The events of an agent by their names: those of the protocol, and those that a machine defines.
class NamedEvents {
  public:
    /// `sink` takes the events of the protocol and must outlive this object.
    explicit NamedEvents(EventSink& sink);

    /// Adds an event; one of the same name is replaced.
    void define(NamedEvent event);
    /// Raises the event of this name or operation code. Throws Refusal, with the nearest name, if
    /// there is none.
    void raise(const std::string& name, const EventArguments& arguments);
    const std::vector<NamedEvent>& all() const { return events_; }

  private:
    EventSink& sink_;
    std::vector<NamedEvent> events_;
};

}  // namespace varnock::agent
