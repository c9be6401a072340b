#pragma once

#include <optional>
#include <string>

#include "agent/DescriptorLimit.h"
#include "agent/EventLoop.h"
#include "agent/Machine.h"
#include "agent/Server.h"
#include "agent/Signals.h"

namespace varnock::agent {

/// The event loop of a daemon: SIGTERM, SIGINT and SIGHUP end it.
class DaemonLoop {
  public:
    DaemonLoop();

    sd_event* get() const { return loop_.get(); }
    /// Notifies the service manager that the daemon is ready and of its status, writes a newline to
    /// `readyFd`, which it closes, and runs until a signal arrives. Returns the exit status.
    [[nodiscard]] int run(const std::string& status, std::optional<int> readyFd);

  private:
    BlockedSignals blocked_{SIGTERM, SIGINT, SIGHUP};
    MoreDescriptors descriptors_;
    EventLoop loop_;
};

/// Answers on a DaemonLoop. Returns the exit status. Throws StartError if it cannot listen.
[[nodiscard]] int serve(Machine& machine, ServerOptions options,
                        std::optional<int> readyFd = std::nullopt);

}  // namespace varnock::agent
