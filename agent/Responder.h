#pragma once

#include <string>

#include "agent/Machine.h"

namespace varnock::agent {

/// The sockets of an agent: the two of the library, and the one for those who control the agent.
enum class Channel { kRequests, kEvents, kControl };

/// What the agent knows of one connection.
struct Session {
    Channel channel;
    /// The agent's own descriptor, which a client is told when it registers.
    int fd;
    bool registered = false;
    std::string client;
};

/// Answers the frames of one kind of connection.
class Replier {
  public:
    virtual ~Replier() = default;
    /// Never fails; the reply fits a frame.
    virtual std::string reply(Session& session, const std::string& request) = 0;
};

/// Turns the text of a command record into the text of its reply: registration is settled here,
/// everything else by the machine. Knows nothing of sockets. Not thread-safe.
class Responder final : public Replier {
  public:
    explicit Responder(Machine& machine) : machine_(machine) {}

    /// What cannot be understood or answered gets a negative reply.
    std::string reply(Session& session, const std::string& request) override;

  private:
    Answer answer(Session& session, const SipJson& record);

    Machine& machine_;
};

}  // namespace varnock::agent
