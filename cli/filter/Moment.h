#pragma once

#include <time.h>

#include <optional>
#include <string>

namespace varnockctl {

/// What momentIn() knows, for messages.
inline constexpr char kMomentExamples[] =
    "a time such as 2026-11-21 10:00, 10:00, 15m (ago) or boot";

/// The time of "2026-11-21 10:00[:00]" (also with a T), "10:00[:00]" of today, an age, "90s",
/// "15m", "2h" or "3d", or "boot". Nothing for any other text.
std::optional<time_t> momentIn(const std::string& text, time_t now);

/// The same. Throws Failure (usage) with the name of the option for any other text.
time_t parseMoment(const std::string& text, time_t now, const char* option);

/// "2026-11-21T10:00:00", local time.
std::string isoTime(time_t time);

/// The seconds since the epoch of "2026-11-21T10:00:00[.000000][Z]": with Z, UTC, else local time.
/// Nothing for any other text.
std::optional<double> isoSeconds(const std::string& text);

}  // namespace varnockctl
