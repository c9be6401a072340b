#include "cli/Verdict.h"

#include <algorithm>
#include <array>

namespace varnockctl {
namespace {

struct StatusMeaning {
    unsigned int status;
    ExitStatus exitStatus;
    const char* text;
};

constexpr std::array<StatusMeaning, 13> meanings{{
    {0, ExitStatus::done, "success"},
    {1, ExitStatus::refused, "the agent failed the command"},
    {2, ExitStatus::refused, "the agent refused an argument"},
    {3, ExitStatus::noAgent, "no connection to the agent"},
    {4, ExitStatus::refused, "not possible in this state"},
    {6, ExitStatus::noAgent, "the agent hung up"},
    {9, ExitStatus::unintelligible, "the reply is incomplete or could not be read"},
    {15, ExitStatus::timeout, "the agent did not answer in time"},
    {17, ExitStatus::refused, "the record does not fit the buffer"},
    {19, ExitStatus::notAvailable, "not available on this machine"},
    {22, ExitStatus::unintelligible, "the reply has no status"},
    {24, ExitStatus::permission, "not allowed"},
    {25, ExitStatus::notAvailable, "no such object"},
}};

const StatusMeaning* meaningOf(unsigned int status) {
    const auto found = std::find_if(meanings.begin(), meanings.end(),
                                    [&](const auto& row) { return row.status == status; });
    return found != meanings.end() ? &*found : nullptr;
}

bool isNumber(const CatalogueRow& row) {
    return row.returnType == "cimple::uint8" || row.returnType == "cimple::uint16" ||
           row.returnType == "cimple::uint32";
}

bool isEmpty(const CatalogueRow& row, const Json& value) {
    if (value.IsArray()) {
        return value.Empty();
    }
    return value.IsNull() || row.returnType == "void" || isNumber(row);
}

}  // namespace

ExitStatus exitStatusOf(unsigned int status) {
    const StatusMeaning* meaning = meaningOf(status);
    return meaning != nullptr ? meaning->exitStatus : ExitStatus::refused;
}

std::string describeStatus(unsigned int status) {
    const StatusMeaning* meaning = meaningOf(status);
    return "status " + std::to_string(status) + ": " +
           (meaning != nullptr ? meaning->text : "the agent failed the command");
}

Verdict judge(const CatalogueRow& row, const Json& value, const std::vector<Exchange>& exchanges) {
    if (row.operation == "passThroughRequest" || !isEmpty(row, value)) {
        return {};
    }
    if (exchanges.empty()) {
        return value.IsNull() ? Verdict{ExitStatus::notAvailable, "no command answers this"}
                              : Verdict{};
    }
    const auto failed = std::find_if(exchanges.begin(), exchanges.end(),
                                     [](const Exchange& exchange) { return exchange.result != 0; });
    if (failed != exchanges.end()) {
        return {exitStatusOf(failed->status), describeStatus(failed->status)};
    }
    const Exchange& last = exchanges.back();
    if (row.returnType == "void" || value.IsArray()) {
        return {};
    }
    if (!last.hasData) {
        return {ExitStatus::notAvailable, "the reply holds no data"};
    }
    const bool fromStream = row.result.starts_with("stream");
    if (value.IsNull() || (isNumber(row) && !fromStream && !last.isNumber)) {
        return {ExitStatus::unintelligible, "the data of the reply is of another kind"};
    }
    return {};
}

}  // namespace varnockctl
