#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/Machine.h"
#include "agent/Server.h"

namespace varnock::agent {

struct RunOptions {
    /// Program and arguments; the program is searched in PATH.
    std::vector<std::string> command;
    /// Directory of the sockets; by default the private directory.
    std::optional<std::string> directory;
    mode_t mode = 0600;
    /// Keep the private directory and print its path.
    bool keep = false;
};

/// Runs a command with a private agent: the command's environment refers to private sockets,
/// registry and trace file. Signals are forwarded to the command; if the agent dies, the command is
/// ended. Returns the command's exit status, 128 + n if signal n ended it, 127 if it was not found,
/// 126 if it could not be run. Throws StartError if the agent cannot start.
[[nodiscard]] int run(Machine& machine, const RunOptions& options);

}  // namespace varnock::agent
