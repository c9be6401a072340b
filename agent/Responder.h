#pragma once

#include <optional>
#include <string>

#include "agent/Machine.h"
#include "agent/Session.h"

namespace varnock::agent {

/// The reply to a command, and what the machine says about it.
struct Response {
    std::string text;  ///< fits a frame
    std::string reason = {};
    std::string path = {};
};

/// Turns a command record into its reply: it handles registration itself and passes other commands
/// to the machine. Independent of sockets. Not thread-safe.
class Responder {
  public:
    explicit Responder(Machine& machine) : machine_(machine) {}

    /// Malformed or unanswerable commands get a negative reply. With a status given, the reply has
    /// this status and no data, and the machine does not get the command.
    Response respond(Session& session, const SipJson& request,
                     std::optional<Status> given = std::nullopt);
    /// The same for the text of a record.
    std::string reply(Session& session, const std::string& request);

  private:
    Answer answer(Session& session, const SipJson& record);

    Machine& machine_;
};

}  // namespace varnock::agent
