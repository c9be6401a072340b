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

/// For each of the files the processes that it is mapped in, in the order of their numbers: those
/// that the user may look into, which are all for root and else the user's own. Nothing is asked of
/// the processes and nothing of locks, so forked children are found as well.
std::vector<std::vector<TraceUser>> usersOfTraceFiles(const std::vector<std::string>& paths,
                                                      const std::string& processes = "/proc");

}  // namespace varnockctl
