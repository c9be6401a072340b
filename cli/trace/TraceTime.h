#pragma once

#include <time.h>

#include <optional>
#include <string>
#include <string_view>

namespace varnockctl {

/// The time of an entry's "Mmm dd hh:mm:ss", local time. Entries have no year: it is the last such
/// time that is at most one day after `now`. Nothing if the text is not a time.
std::optional<time_t> traceTime(std::string_view text, time_t now);

/// Parses a time: "2026-11-21 10:00[:00]" (also with a T), "10:00[:00]" of today, or an age, "90s",
/// "15m", "2h" or "3d". Throws Failure (usage) for any other text.
time_t parseMoment(const std::string& text, time_t now);

/// "2026-11-21T10:00:00", local time.
std::string isoTime(time_t time);

}  // namespace varnockctl
