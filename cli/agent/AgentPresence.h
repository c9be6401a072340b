#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

namespace varnockctl {

/// An idle connection to the agent that tells when the agent goes. Used by one thread.
class AgentPresence {
  public:
    explicit AgentPresence(std::string path) : path_(std::move(path)) {}
    ~AgentPresence() { disconnect(); }
    AgentPresence(const AgentPresence&) = delete;
    AgentPresence& operator=(const AgentPresence&) = delete;

    /// True when an agent is there.
    bool connect();
    void disconnect();
    /// Readable when the agent may have gone; -1 when not connected.
    int fd() const { return fd_; }
    /// REQUIRES: the descriptor is readable. True unless it is certain that the agent is the one it
    /// was: an agent may also hang up on a client that never says anything.
    bool hasGone();

  private:
    std::string path_;
    int fd_ = -1;
    pid_t agent_ = -1;
};

}  // namespace varnockctl
