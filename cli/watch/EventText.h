#pragma once

#include <string>

#include "cli/output/Json.h"
#include "transport/SipJson.h"

namespace varnockctl {

/// The name of an event: "systemMessageLog", "driverMonitorLog", else its operation code.
std::string eventName(const SipJson& event);

/// An event on one line, without the time: its name, the numbers other than 0, and its data.
std::string eventLine(const SipJson& event);

/// The same as an object with all numbers.
Json eventJson(const SipJson& event, const std::string& time, JsonAllocator& allocator);

}  // namespace varnockctl
