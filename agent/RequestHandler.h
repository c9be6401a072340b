#pragma once

#include "agent/CallCounts.h"
#include "agent/Responder.h"
#include "agent/faults/FaultRules.h"
#include "agent/transcript/Transcript.h"

namespace varnock::agent {

/// Answers the clients of the library's sockets: the responder's reply, changed by the rule for it
/// if there is one, and both noted in the transcript. Every command but a registration is counted.
class RequestHandler final : public Replier {
  public:
    RequestHandler(Machine& machine, FaultRules& rules, CallCounts& counts, Transcript& transcript)
        : machine_(machine),
          responder_(machine),
          rules_(rules),
          counts_(counts),
          transcript_(transcript) {}

    ReplyPlan plan(Session& session, const std::string& request) override;

  private:
    ReplyPlan planWith(Session& session, const std::string& request);

    Machine& machine_;
    Responder responder_;
    FaultRules& rules_;
    CallCounts& counts_;
    Transcript& transcript_;
};

}  // namespace varnock::agent
