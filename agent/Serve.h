#pragma once

#include "agent/Machine.h"
#include "agent/Server.h"

namespace varnock::agent {

/// Answers until SIGTERM, SIGINT or SIGHUP; notifies the service manager when it is ready. Returns
/// the exit status. Throws StartError if it cannot listen.
[[nodiscard]] int serve(Machine& machine, ServerOptions options);

}  // namespace varnock::agent
