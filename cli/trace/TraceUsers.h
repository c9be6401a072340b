#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace varnockctl {

/// A live process that has a trace file mapped for writing.
struct TraceUser {
    pid_t process;
    std::string name;
};

struct TraceUsers {
    /// For each file, the processes that have it mapped, in the order of their ids.
    std::vector<std::vector<TraceUser>> ofFiles;
    bool isComplete = true;  ///< false if the time was too short for all processes
};

/// Searches all processes until the end of the time. Only processes that the user may inspect are
/// found: all for root, else the user's own. The search uses the mappings, not locks, so it also
/// finds forked children.
TraceUsers usersOfTraceFiles(const std::vector<std::string>& paths,
                             std::chrono::steady_clock::time_point end,
                             const std::string& processes = "/proc");

}  // namespace varnockctl
