#include "cli/calls/Verdict.h"

#include <algorithm>
#include <array>

#include "transport/AgentProtocol.h"

namespace varnockctl {
namespace {

using varnock::CommandStatus;

struct StatusMeaning {
    CommandStatus status;
    ExitStatus exitStatus;
    const char* text;
};

constexpr std::array<StatusMeaning, 13> kMeanings{{
    {CommandStatus::success, ExitStatus::done, "success"},
    {CommandStatus::failed, ExitStatus::refused, "the agent failed the command"},
    {CommandStatus::invalid, ExitStatus::refused, "the agent refused an argument"},
    {CommandStatus::noChannel, ExitStatus::noAgent, "no connection to the agent"},
    {CommandStatus::wrongState, ExitStatus::refused, "not possible in this state"},
    {CommandStatus::hungUp, ExitStatus::noAgent, "the agent hung up"},
    {CommandStatus::transferFailed, ExitStatus::unintelligible,
     "the reply is incomplete or could not be read"},
    {CommandStatus::timedOut, ExitStatus::timeout, "the agent did not answer in time"},
    {CommandStatus::noMemory, ExitStatus::refused, "the record does not fit the buffer"},
    {CommandStatus::notAvailable, ExitStatus::notAvailable, "not available on this machine"},
    {CommandStatus::missing, ExitStatus::unintelligible, "the reply has no status"},
    {CommandStatus::notAllowed, ExitStatus::permission, "not allowed"},
    {CommandStatus::noSuchObject, ExitStatus::notAvailable, "no such object"},
}};

const StatusMeaning* meaningOf(unsigned int status) {
    const auto* const found = std::find_if(kMeanings.begin(), kMeanings.end(),
                                           [&](const auto& row) { return status == row.status; });
    return found != kMeanings.end() ? &*found : nullptr;
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
    if (row.name == "passThroughRequest" || !isEmpty(row, value)) {
        return {};
    }
    if (exchanges.empty()) {
        return value.IsNull() ? Verdict{ExitStatus::notAvailable, "no command reports this value"}
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
    const bool fromNumber = row.reply == "byte" || row.reply == "word" || row.reply == "dword";
    if (value.IsNull() || (isNumber(row) && fromNumber && !last.isNumber)) {
        return {ExitStatus::unintelligible, "the data of the reply has an unexpected type"};
    }
    return {};
}

}  // namespace varnockctl
