#pragma once

#include <array>
#include <string_view>

#include "transport/AgentProtocol.h"

namespace varnock {

/// The name of an event for users.
struct EventName {
    std::string_view name;
    EventOpcode opcode;
    std::string_view meaning;
};
inline constexpr std::array kEventNames{EventName{"systemMessageLog", EventOpcode::systemMessageLog,
                                                  "the system message log has a new entry"},
                                        EventName{"driverMonitorLog", EventOpcode::driverMonitorLog,
                                                  "the driver monitor log has a new entry"}};

}  // namespace varnock
