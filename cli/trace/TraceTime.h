#pragma once

#include <time.h>

#include <optional>
#include <string>
#include <string_view>

namespace varnockctl {

/// The moment of an entry's "Mmm dd hh:mm:ss", local time: the last one of that name that is not
/// more than a day after `now`, since entries have no year. Nothing for what is no time.
std::optional<time_t> traceTime(std::string_view text, time_t now);

/// A moment as a person gives it: "2026-11-21 10:00[:00]" (also with a T), "10:00[:00]" of today,
/// or how long ago, "90s", "15m", "2h" or "3d". Throws Failure (usage) for anything else.
time_t parseMoment(const std::string& text, time_t now);

/// "2026-11-21T10:00:00", local time.
std::string isoTime(time_t time);

}  // namespace varnockctl
