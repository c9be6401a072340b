#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace varnockctl {

/// A live process that has a trace file mapped for writing.
struct TraceUser {
    pid_t process;
    std::string name;
};

/// For each file, the processes that have it mapped, in the order of their ids. Only processes that
/// the user may inspect are found: all for root, else the user's own. The search uses the mappings,
/// not locks, so it also finds forked children.
std::vector<std::vector<TraceUser>> usersOfTraceFiles(const std::vector<std::string>& paths,
                                                      const std::string& processes = "/proc");

}  // namespace varnockctl
