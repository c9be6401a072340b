#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "agent/LateReply.h"
#include "agent/Refusal.h"
#include "agent/Session.h"
#include "tools/Json.h"

namespace varnock::agent {

/// The name of the socket on which a running agent takes the requests of `varnock-agent ctl`.
inline constexpr const char* kControlSocket = "ragdctl";

/// Carries out a request: reads its members and adds members to the reply, an object. Throws
/// Refusal if it cannot; what it has added is then dropped.
using Verb = std::function<void(const Json& request, JsonDocument& reply)>;

/// Begins a request whose reply comes later. Throws Refusal if it cannot.
using LateVerb = std::function<std::shared_ptr<LateReply>(const Json& request)>;

/// The text of a reply to a request that failed.
[[nodiscard]] std::string refusalText(const std::string& reason);

/// Answers the requests of users, each an object {"verb": NAME, …}, with {"ok": true, …} or
/// {"ok": false, "error": TEXT}. Each part of the agent adds its own verbs. Not thread-safe.
class Control final : public Replier {
  public:
    /// A verb of the same name is replaced.
    void add(const std::string& name, Verb verb);

    void addLate(const std::string& name, LateVerb verb);

    ReplyPlan plan(Session&, const std::string& request) override {
        ReplyPlan later;
        later.late = ask(request);
        return later;
    }
    /// The reply, which fits a frame. Never null.
    std::shared_ptr<LateReply> ask(const std::string& request) const;
    /// The text of a reply that comes at once; empty for one that comes later.
    std::string reply(const std::string& request) const {
        return ask(request)->text().value_or("");
    }

  private:
    Refusal unknown(const std::string& name) const;

    std::map<std::string, LateVerb> verbs_;
};

/// @name The members of a request
/// They throw Refusal with the name of the member if it has another type or, for those that return
/// no optional, is missing.
/// @{
[[nodiscard]] std::string textOf(const Json& request, const char* name);
[[nodiscard]] std::optional<std::string> findText(const Json& request, const char* name);
[[nodiscard]] std::optional<unsigned> findNumber(const Json& request, const char* name);
[[nodiscard]] bool isSet(const Json& request, const char* name);
/// @}

}  // namespace varnock::agent
