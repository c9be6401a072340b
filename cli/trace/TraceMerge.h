#pragma once

#include <sys/types.h>
#include <time.h>

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "cli/trace/TraceLog.h"

namespace varnockctl {

/// The process that wrote each entry of a log, nothing where the file does not tell. A description
/// tells it for the work cycle that it belongs to.
std::vector<std::optional<pid_t>> processesOf(const std::vector<TraceEntry>& entries);

/// An entry of one of several logs; belongs to its log.
struct MergedEntry {
    const TraceEntry* entry;
    std::size_t source;  ///< of which log
    std::optional<pid_t> process;
};

/// The entries of all lists in order of time. Each list keeps its order; among those with the same
/// second, which is all that entries tell, the lists come one after the other. `now` says of which
/// year they are.
std::vector<MergedEntry> mergedByTime(const std::vector<std::vector<MergedEntry>>& lists,
                                      time_t now);

}  // namespace varnockctl
