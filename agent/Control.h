#pragma once

#include "agent/Responder.h"

namespace varnock::agent {

class Server;

/// The name of the socket on which a running agent takes the requests of `varnock-agent ctl`.
inline constexpr const char* kControlSocket = "ragdctl";

/// Answers these requests. A frame in either direction holds a word, a blank and the rest: "status
/// " and "event <command record>" are answered by "ok <text>" or "error <text>". Not thread-safe.
class Control final : public Replier {
  public:
    explicit Control(Server& server) : server_(server) {}

    std::string reply(Session& session, const std::string& request) override;

  private:
    std::string status() const;
    std::string pushEvent(const std::string& text);

    Server& server_;
};

}  // namespace varnock::agent
