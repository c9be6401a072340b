#pragma once

#include <array>
#include <string_view>

#include "transport/AgentProtocol.h"

namespace varnock {

/// The name of an event for users.
struct EventName {
    std::string_view name;
    EventOpcode opcode;
};
inline constexpr std::array kEventNames{
    EventName{"systemMessageLog", EventOpcode::systemMessageLog},
    EventName{"driverMonitorLog", EventOpcode::driverMonitorLog}};

}  // namespace varnock
