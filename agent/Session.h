#pragma once

#include <string>

#include "agent/ReplyPlan.h"

namespace varnock::agent {

/// The sockets of an agent: the two for the library, and the control socket.
enum class Channel { requests, events, control };

/// The agent's data about one connection.
struct Session {
    Channel channel;
    /// The agent's own descriptor, reported to a client when it registers; with a virtual clock the
    /// number of the connection.
    int fd;
    bool registered = false;
    std::string client;
    /// The connections of an agent count from 1.
    unsigned number = 0;
};

/// Answers the frames of one kind of connection.
class Replier {
  public:
    virtual ~Replier() = default;
    /// What the client gets for its request. Never fails.
    virtual ReplyPlan plan(Session& session, const std::string& request) = 0;
};

}  // namespace varnock::agent
