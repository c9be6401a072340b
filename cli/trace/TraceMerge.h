#pragma once

#include <time.h>

#include <cstddef>
#include <string_view>
#include <vector>

#include "cli/trace/TraceLog.h"

namespace varnockctl {

/// An entry of one of several logs. A view into its log.
struct MergedEntry {
    const TraceEntry* entry;
    std::size_t source;  ///< index of the log
};

/// The entries of all lists, sorted by time. Each list keeps its order. Times have a resolution of
/// one second: within a second, the lists follow one another. `now` determines the year.
std::vector<MergedEntry> mergedByTime(const std::vector<std::vector<MergedEntry>>& lists,
                                      time_t now);

}  // namespace varnockctl
