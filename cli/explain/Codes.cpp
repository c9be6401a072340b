#include "cli/explain/Codes.h"

#include <algorithm>
#include <optional>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "cli/TextMatch.h"
#include "tools/Number.h"
#include "transport/AgentProtocol.h"

namespace varnockctl {
namespace {

using varnock::CommandStatus;
using varnock::toNumber;

constexpr std::string_view kStatus = "status";
constexpr std::string_view kTransport = "transport";
constexpr std::string_view kClient = "client";
constexpr std::string_view kCim = "CIM";

constexpr std::string_view kAskDoctor = "Run varnockctl doctor.";
constexpr std::string_view kNothing = "Nothing is to be done.";
constexpr std::string_view kShowRecords =
    "Repeat the call with --wire, which shows the records, and look into the log of the agent.";
constexpr std::string_view kLookIntoTrace =
    "Look for the lines before it in varnockctl trace, and run varnockctl doctor.";

constexpr Code kCodes[] = {
    {kStatus, "success", toNumber(CommandStatus::success), "The command succeeded.",
     "The agent did what it was asked.", kNothing},
    {kStatus, "failed", toNumber(CommandStatus::failed), "The agent failed the command.",
     "A driver, sensor or service that the agent asked did not answer as expected.", kShowRecords},
    {kStatus, "invalid", toNumber(CommandStatus::invalid), "The agent refused an argument.",
     "The object, extension or value does not exist for this command, or is out of range.",
     "Compare the arguments with varnockctl describe NAME."},
    {kStatus, "noChannel", toNumber(CommandStatus::noChannel), "There is no request channel.",
     "The agent does not run, its socket is missing, or the registration was refused. The client "
     "sets this status.",
     kAskDoctor},
    {kStatus, "wrongState", toNumber(CommandStatus::wrongState), "Not possible in this state.",
     "The machine or the object is off, busy or being updated. The client sets the same status "
     "for a wait of no time.",
     "Repeat the call later."},
    {kStatus, "hungUp", toNumber(CommandStatus::hungUp), "The agent hung up.",
     "The agent ended or closed the connection before it answered. The client sets this status.",
     "Repeat the call: the next one connects again. If it happens again, run varnockctl doctor."},
    {kStatus, "transferFailed", toNumber(CommandStatus::transferFailed),
     "The reply is incomplete or could not be read.",
     "The connection broke within a frame, or the reply is longer than 1 MiB. The client sets this "
     "status.",
     kShowRecords},
    {kStatus, "successToo", toNumber(CommandStatus::successToo), "The command succeeded.",
     "The agent has nothing to add. The client reports this status as 0.", kNothing},
    {kStatus, "timedOut", toNumber(CommandStatus::timedOut), "The agent did not answer in time.",
     "The agent is stuck or overloaded, or the command takes longer than the time limit. The "
     "client sets this status.",
     "Repeat the call with a longer --timeout. If it happens again, run varnockctl doctor."},
    {kStatus, "noMemory", toNumber(CommandStatus::noMemory),
     "There is no memory, or the record is too long for a frame.",
     "A value is longer than 1 MiB, or the memory of the process or of the agent is used up.",
     "Send less data; else look at the memory of both processes."},
    {kStatus, "notAvailable", toNumber(CommandStatus::notAvailable),
     "The machine does not have it.",
     "An ordinary negative answer: the sensor, slot or setting does not exist here.", kNothing},
    {kStatus, "successOfRecord", toNumber(CommandStatus::successOfRecord),
     "A success for the record, a failure for typed calls.",
     "The agent accepted the command, but has no result.",
     "Read the record itself with varnockctl raw."},
    {kStatus, "missing", toNumber(CommandStatus::missing), "The reply has no status.",
     "The agent did not understand the record, or the reply is no valid record.", kShowRecords},
    {kStatus, "notAllowed", toNumber(CommandStatus::notAllowed), "Not allowed.",
     "The user or the configured group of users may not run this command.",
     "Ask who may run it with varnockctl call getConfUserGroup, or run it as root."},
    {kStatus, "noSuchObject", toNumber(CommandStatus::noSuchObject), "There is no such object.",
     "An ordinary negative answer: the cabinet or object number is too large.",
     "List what there is with varnockctl inventory."},
    {kStatus, "successUndefined", toNumber(CommandStatus::successUndefined),
     "A success for the record, a failure for typed calls.",
     "The agent accepted the command, but its result is not defined.",
     "Read the record itself with varnockctl raw."},
    {kStatus, "accessDenied", toNumber(CommandStatus::accessDenied), "Access denied.",
     "The agent denies this user the access. The client raises \"access denied\".",
     "Run the command as root or as a member of the configured group."},

    {kTransport, "transferTimedOut", -15, "The agent did not become ready in time.",
     "No reply, or no space for the request, within the time limit.",
     "As for the status timedOut: varnockctl explain timedOut."},
    {kTransport, "transferFailed", -9, "A frame could not be read or written.",
     "A read or write failed, the connection ended, or the reply is incomplete.",
     "As for the status transferFailed: the channel is closed, and the next request opens it "
     "again."},
    {kTransport, "pollFailed", -6, "The connection hung up, or waiting for it failed.",
     "The agent closed the connection or ended.",
     "As for the status hungUp: the next request connects again."},
    {kTransport, "zeroTimeout", -4, "The time limit of a wait was 0.",
     "A program asked to wait for no time at all.", "Correct the time limit in the program."},
    {kTransport, "noChannel", -3, "There is no request channel.",
     "The channel of this thread could not be opened.",
     "As for the status noChannel: run varnockctl doctor."},
    {kTransport, "notConnected", -2, "The connection was refused.",
     "The socket is missing, nothing listens on it, or this user may not connect.", kAskDoctor},
    {kTransport, "notOpened", -1, "The channel could not be opened or initialised.",
     "There is no descriptor or memory left, or the agent refused the registration.",
     kLookIntoTrace},

    {kClient, "KOLM_SUCCESS", provider::KOLM_SUCCESS, "The request succeeded.",
     "The reply has the status 0.", kNothing},
    {kClient, "KOLM_ACCESS_DENIED", provider::KOLM_ACCESS_DENIED, "Access denied.",
     "The connection reported the status 0x00040009.",
     "Run the program as root or as a member of the configured group."},
    {kClient, "KOLM_FAILED", provider::KOLM_FAILED, "The request failed.",
     "The reply has another status than 0, or there is no reply.", kLookIntoTrace},
    {kClient, "KOLM_INVALID_ARGUMENT", provider::KOLM_INVALID_ARGUMENT, "An argument is not valid.",
     "A program passed a name or record that cannot be used.", "Correct the program."},

    {kCim, "CIM_ERR_OK", provider::CIM_ERR_OK, "The operation succeeded.",
     "The provider did what it was asked.", kNothing},
    {kCim, "CIM_ERR_FAILED", provider::CIM_ERR_FAILED, "The operation failed.",
     "The provider could not read or set what it needs, and there is no better code for it.",
     kLookIntoTrace},
    {kCim, "CIM_ERR_ACCESS_DENIED", provider::CIM_ERR_ACCESS_DENIED, "Access denied.",
     "The user of the CIM operation may not do this, or a request to the agent failed.",
     "Compare the user with the group that the agent allows, then look into varnockctl trace."},
    {kCim, "CIM_ERR_INVALID_PARAMETER", provider::CIM_ERR_INVALID_PARAMETER,
     "A parameter is not valid.",
     "A key of the instance or an argument of the method is missing or out of range.",
     "Correct the request of the CIM client."},
    {kCim, "CIM_ERR_NOT_FOUND", provider::CIM_ERR_NOT_FOUND, "There is no such instance.",
     "The keys name an object that the machine does not have.",
     "Enumerate the instances of the class, or run varnockctl inventory."},
    {kCim, "CIM_ERR_NOT_SUPPORTED", provider::CIM_ERR_NOT_SUPPORTED,
     "The operation is not supported.", "The provider does not have it for this class.",
     "Use an operation that the class has."},
};

/// A number, which may be negative.
std::optional<std::int64_t> numberIn(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    const auto number = varnock::parseNumber(text.substr(isNegative ? 1 : 0));
    if (!number) {
        return std::nullopt;
    }
    return isNegative ? -std::int64_t{*number} : std::int64_t{*number};
}

}  // namespace

std::span<const Code> codes() {
    return kCodes;
}

std::vector<const Code*> findCodes(std::string_view text) {
    const auto number = numberIn(text);
    std::vector<const Code*> found;
    for (const Code& code : kCodes) {
        const bool isName =
            text.size() == code.name.size() && containsIgnoringCase(code.name, text);
        // A negative result also appears as 32 bits, in hexadecimal.
        const bool isNumber =
            number && (*number == code.number ||
                       (code.number < 0 && *number == static_cast<std::uint32_t>(code.number)));
        if (isName || isNumber) {
            found.push_back(&code);
        }
    }
    return found;
}

std::string explainHint(unsigned int status) {
    return "varnockctl explain " + std::to_string(status) + " says what to do";
}

}  // namespace varnockctl
