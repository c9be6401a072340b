#pragma once

#include "agent/Machine.h"
#include "agent/Server.h"

namespace varnock::agent {

/// Answers until SIGTERM, SIGINT or SIGHUP; tells the service manager when it is ready. Returns the
/// exit status. Throws StartError when it cannot listen.
int serve(Machine& machine, ServerOptions options);

}  // namespace varnock::agent
