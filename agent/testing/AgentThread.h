#pragma once

#include <thread>

#include "agent/EventLoop.h"
#include "agent/Machine.h"
#include "agent/Server.h"
#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// A server whose event loop runs on a thread of its own, which takes no signals. It listens from
/// its construction on.
class AgentThread {
  public:
    /// Throws like Server, or std::system_error. The machine must outlive this object.
    AgentThread(Machine& machine, ServerOptions options);
    /// Waits for the end of the command that is being answered.
    ~AgentThread();
    AgentThread(const AgentThread&) = delete;
    AgentThread& operator=(const AgentThread&) = delete;

  private:
    EventLoop loop_ = newEventLoop();
    Server server_;
    FileDescriptor stop_;
    EventSource stopping_;
    std::thread thread_;
};

}  // namespace varnock::agent
