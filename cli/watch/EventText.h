#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "cli/output/Json.h"
#include "transport/SipJson.h"

namespace varnockctl {

/// The name of an event: "systemMessageLog", "driverMonitorLog", else its operation code.
std::string eventName(const SipJson& event);

/// An event on one line, without the time: its name, the numbers other than 0, and its data.
std::string eventLine(const SipJson& event);

/// The same as an object with all numbers.
Json eventJson(const SipJson& event, const std::string& time, JsonAllocator& allocator);

/// A time without an agent, in which events may have been lost.
struct EventGap {
    std::chrono::milliseconds duration;

    std::string text() const;
};

/// A gap as an item: the members of an event, which are null, and "gap".
Json gapJson(const EventGap& gap, const std::string& time, JsonAllocator& allocator);

/// An item as rows with one value in each member: a row for each value in its data, with the path
/// of that value as "member".
std::vector<Json> rowsOf(const Json& item, JsonAllocator& allocator);

}  // namespace varnockctl
