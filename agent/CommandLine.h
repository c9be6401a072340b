#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "agent/AgentClock.h"
#include "tools/Explanation.h"

namespace varnock::agent {

/// What the arguments of the program ask for.
struct CommandLine {
    enum class Task { serve, run, record, check, control };

    Task task = Task::serve;
    /// Directory of the sockets; may be empty for `run`, which then makes a private one.
    std::string directory;
    mode_t mode = 0600;      ///< of the sockets
    bool host = false;       ///< this machine on request
    std::string machine;     ///< the described machine; empty: that of the scenario, or this one
    std::string load;        ///< the saved state to go on from, instead of a machine
    std::string scenario;    ///< name or file
    std::string replay;      ///< the recording that `serve` answers from
    bool isLenient = false;  ///< whatever the order of the requests
    std::string upstream;    ///< directory of the agent that `record` stands before
    std::string recording;   ///< that `record` writes
    bool sanitizes = false;
    AgentClock::Kind clock = AgentClock::Kind::real;
    unsigned seed = 0;
    std::vector<std::string> faults;
    std::string transcript;
    std::optional<int> readyFd;      ///< told when `serve` is ready
    std::vector<std::string> words;  ///< the command of `run`, the files of `check`
    bool keep = false;               ///< keep the private directory
    std::string control;             ///< the control socket, for `ctl`
    std::string request;             ///< of `ctl`
    bool json = false;               ///< print the answer to `ctl` as JSON
    bool waits = false;              ///< the answer to `ctl` takes as long as the agent decides
};

/// Parses the arguments of the program, without its name. Returns an explanation if they name no
/// command to run.
[[nodiscard]] std::optional<Explanation> parseCommandLine(std::vector<std::string> arguments,
                                                          CommandLine& line);

}  // namespace varnock::agent
