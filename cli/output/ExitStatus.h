#pragma once

#include <string_view>

#include "tools/Console.h"

namespace varnockctl {

/// The exit statuses of the process.
enum class ExitStatus {
    done = 0,
    usage = 2,
    notAvailable = 3,                            ///< not found, or the machine does not have it
    noAgent = 4,                                 ///< the agent cannot be reached
    timeout = 5,                                 ///< no answer within --timeout
    refused = 6,                                 ///< the agent refused or failed the command
    partial = 7,                                 ///< a part of the result is missing
    permission = 8,                              ///< not allowed
    unintelligible = 9,                          ///< the reply or file is malformed
    outputLost = varnock::console::kOutputLost,  ///< standard output cannot be written
    failed = 11,                                 ///< out of memory or threads
    interrupted = 130,                           ///< by SIGINT
    terminated = 143,                            ///< by SIGTERM
};

/// The meaning of a status in a few words.
std::string_view meaningOf(ExitStatus status);

}  // namespace varnockctl
