#pragma once

#include <string>
#include <vector>

#include "agent/Machine.h"
#include "agent/Server.h"

namespace varnock::agent {

/// The status of `run` if an expectation or step of its scenario failed.
inline constexpr int kScenarioFailed = 3;

struct RunOptions {
    /// Program and arguments; the program is searched in PATH.
    std::vector<std::string> command;
    /// Without a directory the sockets are in the private one.
    ServerOptions server;
    /// Keep the private directory and print its path.
    bool keep = false;
};

/// Runs a command with a private agent: the command's environment refers to private sockets,
/// registry and trace file. Signals are forwarded to the command; if the agent dies, the command is
/// ended. Returns the command's exit status, 128 + n if signal n ended it, 127 if it was not found,
/// 126 if it could not be run, kScenarioFailed if the command ended with 0 and a step or
/// expectation of the scenario failed. Throws StartError if the agent cannot start.
[[nodiscard]] int run(Machine& machine, RunOptions options);

}  // namespace varnock::agent
