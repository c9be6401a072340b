#pragma once

#include <time.h>

#include <optional>
#include <string_view>

namespace varnockctl {

/// The time of an entry's "Mmm dd hh:mm:ss", local time. Entries have no year: it is the last such
/// time that is at most one day after `now`. Nothing if the text is not a time.
std::optional<time_t> traceTime(std::string_view text, time_t now);

}  // namespace varnockctl
