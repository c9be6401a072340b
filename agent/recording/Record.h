#pragma once

#include <optional>
#include <string>

#include "agent/recording/Proxy.h"

namespace varnock::agent {

struct RecordOptions {
    Proxy::Options proxy;
    std::string file;  ///< the recording
    bool sanitizes = false;
};

/// Passes on and records on a DaemonLoop. With `sanitizes` the file is written at the end, and
/// nothing else is stored before. Returns the exit status. Throws StartError if it cannot listen,
/// Refusal if the file cannot be written.
[[nodiscard]] int record(const RecordOptions& options, std::optional<int> readyFd = std::nullopt);

}  // namespace varnock::agent
