#pragma once

#include <string>

#include "agent/Machine.h"

namespace varnock::agent {

/// The two sockets of an agent.
enum class Channel { kRequests, kEvents };

/// What the agent knows of one connection.
struct Session {
    Channel channel;
    /// The agent's own descriptor, which a client is told when it registers.
    int fd;
    bool registered = false;
    std::string client;
};

/// Turns the text of a command record into the text of its reply: registration is settled here,
/// everything else by the machine. Knows nothing of sockets. Not thread-safe.
class Responder {
  public:
    explicit Responder(Machine& machine) : machine_(machine) {}

    /// Never fails: what cannot be understood or answered gets a negative reply. The reply fits a
    /// frame.
    std::string reply(Session& session, const std::string& request);

  private:
    Answer answer(Session& session, const SipJson& record);

    Machine& machine_;
};

}  // namespace varnock::agent
