#pragma once

#include <string>

#include "agent/Machine.h"

namespace varnock::agent {

/// The sockets of an agent: the two for the library, and the control socket.
enum class Channel { requests, events, control };

/// The agent's data about one connection.
struct Session {
    Channel channel;
    /// The agent's own descriptor, reported to a client when it registers.
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

/// Turns the text of a command record into the text of its reply: it handles registration itself
/// and passes other commands to the machine. Independent of sockets. Not thread-safe.
class Responder final : public Replier {
  public:
    explicit Responder(Machine& machine) : machine_(machine) {}

    /// Malformed or unanswerable commands get a negative reply.
    std::string reply(Session& session, const std::string& request) override;

  private:
    Answer answer(Session& session, const SipJson& record);

    Machine& machine_;
};

}  // namespace varnock::agent
