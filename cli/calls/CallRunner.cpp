#include "cli/calls/CallRunner.h"

#include "CIM/Provider/Include/Exceptions.h"
#include "cli/Options.h"
#include "cli/output/Sanitizing.h"

namespace varnockctl {
namespace {

/// The outcome of a call that threw, with the status of the last record it sent.
Outcome thrown(const std::vector<Exchange>& exchanges) {
    Outcome outcome;
    outcome.threw = true;
    if (exchanges.empty() || exchanges.back().result == 0) {
        outcome.verdict = {ExitStatus::notAvailable,
                           "no component of the machine has these numbers"};
    } else {
        const unsigned int status = exchanges.back().status;
        outcome.verdict = {exitStatusOf(status), describeStatus(status)};
    }
    return outcome;
}

/// Some calls return what openControllerCardSession() has read. The calls object of one command has
/// read nothing, so the cabinet's controllers must be read first.
bool needsScan(const CatalogueRow& row, const CallArguments& arguments) {
    if (row.controllers == "-" || row.controllers == "always") {
        return row.controllers == "always";
    }
    const unsigned int componentClass = parseNumber(*arguments.ext, "--ext");
    return componentClass >= 12 && componentClass <= 14;
}

Outcome answered(Session& session, const std::string& name, const CallArguments& arguments,
                 JsonAllocator& allocator) {
    const auto& exchanges = session.client().exchanges();
    const CatalogueRow& row = *findCall(name);
    const bool scans = needsScan(row, arguments);
    if (scans) {
        session.calls().openControllerCardSession(parseNumber(*arguments.cabinet, "--cabinet"));
    }
    Outcome outcome;
    outcome.value = findTypedCall(name)->run(session.calls(), arguments, allocator);
    outcome.verdict = judge(row, outcome.value, exchanges);
    if (scans && outcome.value.IsNull() && exchanges.back().result == 0) {
        outcome.verdict = {ExitStatus::notAvailable, "no controller of the cabinet reports it"};
    }
    if (!outcome.verdict.reason.empty()) {
        outcome.value.SetNull();
    }
    sanitizing::learn(row, outcome.value);
    return outcome;
}

}  // namespace

Outcome run(Session& session, const std::string& name, const CallArguments& arguments,
            JsonAllocator& allocator) {
    session.client().forget();
    const auto& exchanges = session.client().exchanges();
    try {
        return answered(session, name, arguments, allocator);
    } catch (const provider::CimErrorException& exception) {
        Outcome outcome = thrown(exchanges);
        if (exception.getCimError() == provider::CIM_ERR_ACCESS_DENIED) {
            outcome.verdict = {ExitStatus::permission, "the agent does not allow it to this user"};
        }
        return outcome;
    } catch (const provider::BaseException&) {
        return thrown(exchanges);
    }
}

}  // namespace varnockctl
