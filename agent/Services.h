#pragma once

namespace varnock::agent {

class AgentClock;
class Control;
class EventSink;
class FaultRules;
class NamedEvents;

/// What an agent offers to the machine for which it answers. All of it lives as long as the agent.
struct Services {
    Control& control;    ///< for verbs of the machine's own
    EventSink& events;   ///< to raise events, also while a command is being answered
    NamedEvents& names;  ///< for events that can be raised by name
    AgentClock& clock;   ///< the time, which a test may advance
    FaultRules& faults;  ///< part of a machine's saved state
};

}  // namespace varnock::agent
