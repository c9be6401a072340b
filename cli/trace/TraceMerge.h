#pragma once

#include <sys/types.h>
#include <time.h>

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "cli/trace/TraceLog.h"

namespace varnockctl {

/// The process that wrote each entry of a log; nothing if the file does not name it. A description
/// names the process of its work cycle.
std::vector<std::optional<pid_t>> processesOf(const std::vector<TraceEntry>& entries);

/// An entry of one of several logs. A view into its log.
struct MergedEntry {
    const TraceEntry* entry;
    std::size_t source;  ///< index of the log
    std::optional<pid_t> process;
};

/// The entries of all lists, sorted by time. Each list keeps its order. Times have a resolution of
/// one second: within a second, the lists follow one another. `now` determines the year.
std::vector<MergedEntry> mergedByTime(const std::vector<std::vector<MergedEntry>>& lists,
                                      time_t now);

}  // namespace varnockctl
