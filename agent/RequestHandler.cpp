#include "agent/RequestHandler.h"

#include <optional>
#include <utility>

#include "agent/faults/FaultyReply.h"

namespace varnock::agent {

ReplyPlan RequestHandler::plan(Session& session, const std::string& request) {
    if (transcript_.isOn()) {
        transcript_.request(session, request);
    }
    return planWith(session, request);
}

ReplyPlan RequestHandler::planWith(Session& session, const std::string& request) {
    SipJson record;
    record.Import(request.c_str());
    if (record.OpCode() != kRegisterOpcode) {
        counts_.note({record.OpCode(), record.OpCodeExt(), record.ObjectId()});
    }
    FaultRules::Entry* const rule =
        rules_.isEmpty() ? nullptr
                         : rules_.match({record.OpCode(), record.OpCodeExt(), record.ObjectId(),
                                         record.CabinetNr(), session.number});
    std::optional<Status> status;
    if (rule != nullptr && rule->rule.fault.status) {
        status = static_cast<Status>(*rule->rule.fault.status);
    }
    Response response = responder_.respond(session, record, status);
    auto recorded = machine_.recorded(session, request);
    ReplyPlan plan = recorded && !status ? *std::move(recorded) : wholeReply(response.text);
    if (rule != nullptr) {
        plan = faultyReply(rule->rule.fault, std::move(plan), rule->random);
    }
    if (transcript_.isOn()) {
        transcript_.reply(session, plan,
                          {rule != nullptr ? rule->number : 0, std::move(response.reason),
                           std::move(response.path)});
    }
    return plan;
}

}  // namespace varnock::agent
