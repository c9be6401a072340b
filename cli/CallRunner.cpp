#include "cli/CallRunner.h"

#include "CIM/Provider/Include/Exceptions.h"

namespace varnockctl {
namespace {

// What a call threw, explained by the last record it sent.
Outcome thrown(const provider::BaseException& exception, const std::vector<Exchange>& exchanges) {
    Outcome outcome;
    outcome.threw = true;
    const unsigned int status = exchanges.empty() ? 3 : exchanges.back().status;
    outcome.verdict.status = exitStatusOf(status);
    outcome.verdict.reason =
        std::string(exception.toString().c_str()) + " (" + describeStatus(status) + ")";
    return outcome;
}

}  // namespace

Outcome run(Session& session, const std::string& name, const CallArguments& arguments,
            JsonAllocator& allocator) {
    session.client().forget();
    const auto& exchanges = session.client().exchanges();
    try {
        Outcome outcome;
        outcome.value = findTypedCall(name)->run(session.calls(), arguments, allocator);
        outcome.verdict = judge(*findCall(name), outcome.value, exchanges);
        if (!outcome.verdict.reason.empty()) {
            outcome.value.SetNull();
        }
        return outcome;
    } catch (const provider::CimErrorException& exception) {
        Outcome outcome = thrown(exception, exchanges);
        if (exception.getCimError() == provider::CIM_ERR_ACCESS_DENIED) {
            outcome.verdict = {ExitStatus::permission, exception.toString().c_str()};
        }
        return outcome;
    } catch (const provider::BaseException& exception) {
        return thrown(exception, exchanges);
    }
}

}  // namespace varnockctl
