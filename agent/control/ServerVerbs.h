#pragma once

#include "agent/control/Control.h"

namespace varnock::agent {

class Server;

/// Adds `status`, `event` and `events`, the list of the events that have a name. The server must
/// outlive the control.
void addServerVerbs(Control& control, Server& server);

}  // namespace varnock::agent
