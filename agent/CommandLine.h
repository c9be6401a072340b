#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "agent/Ctl.h"
#include "tools/Explanation.h"

namespace varnock::agent {

/// What the arguments of the program ask for.
struct CommandLine {
    enum class Task { serve, run, status, event };

    Task task = Task::serve;
    /// Directory of the sockets; may be empty for `run`, which then makes a private one.
    std::string directory;
    mode_t mode = 0600;              ///< of the sockets
    std::vector<std::string> words;  ///< the command of `run` and its arguments
    bool keep = false;               ///< keep the private directory
    std::string control;             ///< the control socket, for `status` and `event`
    EventWords event;
};

/// Parses the arguments of the program, without its name. Returns an explanation if they name no
/// command to run.
[[nodiscard]] std::optional<Explanation> parseCommandLine(std::vector<std::string> arguments,
                                                          CommandLine& line);

}  // namespace varnock::agent
