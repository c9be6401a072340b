#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

namespace varnockctl {

/// An idle connection to the agent that detects the end of the agent. Used by one thread.
class AgentPresence {
  public:
    explicit AgentPresence(std::string path) : path_(std::move(path)) {}
    ~AgentPresence() { disconnect(); }
    AgentPresence(const AgentPresence&) = delete;
    AgentPresence& operator=(const AgentPresence&) = delete;

    /// True if an agent is listening.
    [[nodiscard]] bool connect();
    void disconnect();
    /// Readable if the agent may have gone; -1 if not connected.
    int fd() const { return fd_; }
    /// REQUIRES: the descriptor is readable. False only if the same agent is certainly still there:
    /// an agent may also close a connection that is idle.
    [[nodiscard]] bool hasGone();

  private:
    std::string path_;
    int fd_ = -1;
    pid_t agent_ = -1;
};

}  // namespace varnockctl
