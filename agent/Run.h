#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/Machine.h"
#include "agent/Server.h"

namespace varnock::agent {

struct RunOptions {
    /// Program and arguments; the program is looked for in PATH.
    std::vector<std::string> command;
    /// Where the sockets stand, else in the private directory.
    std::optional<std::string> directory;
    mode_t mode = 0600;
    /// Leave the private directory behind, and say where it is.
    bool keep = false;
};

/// Runs a command beside an agent of its own: private sockets, registry and trace file, announced
/// to the command by its environment. Signals are passed on to it; if the agent dies, the command
/// is ended. Returns the command's exit status, 128 + n when signal n ended it, 127 when it was not
/// found, 126 when it could not be run. Throws StartError when the agent cannot start.
int run(Machine& machine, const RunOptions& options);

}  // namespace varnock::agent
