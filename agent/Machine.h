#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "agent/ReplyPlan.h"
#include "agent/Services.h"
#include "agent/Session.h"
#include "transport/AgentProtocol.h"
#include "transport/SipJson.h"

namespace varnock::agent {

using Status = CommandStatus;

/// The cabinet number that addresses no cabinet in particular.
inline constexpr unsigned kNoCabinet = 0xFFFFFFFF;

/// One command: the numbers of the request, and the record for its data.
struct Command {
    unsigned opcode;
    unsigned extension;
    unsigned object;
    unsigned cabinet;
    const SipJson& record;
};

/// The answer to a command: a status, and optional data on success. A fact converts to its answer,
/// a missing fact to the ordinary negative answer.
struct Answer {
    using Bytes = std::vector<unsigned char>;
    using Data = std::variant<std::monostate, unsigned, std::string, Bytes>;

    Answer(Status verdict) : status(verdict) {}
    Answer(unsigned number) : data(number) {}
    Answer(std::string text) : data(std::move(text)) {}
    Answer(Bytes bytes) : data(std::move(bytes)) {}
    template <typename Fact>
    Answer(std::optional<Fact> fact) : Answer(Status::notAvailable) {
        if (fact) {
            *this = Answer(*std::move(fact));
        }
    }

    Status status = Status::success;
    Data data;
    /// Why there is no data, as a sentence for a transcript; empty if that is not known.
    std::string reason = {};
    /// Where the machine's description holds the value or would hold it; empty without one.
    std::string path = {};
};

/// The machine for which the agent answers: the live host, a described machine, a recording. Called
/// on the thread of the event loop, one command at a time. An exception becomes a negative answer.
class Machine {
  public:
    virtual ~Machine() = default;
    virtual Answer answer(const Command& command) = 0;
    /// Called once, before the first command: the machine may keep the services.
    virtual void attach(const Services&) {}
    /// Called once, after the last command: the services end.
    virtual void detach() {}
    /// What the client gets for its request, byte for byte; nothing if answer() decides. Called
    /// after it.
    virtual std::optional<ReplyPlan> recorded(const Session&, const std::string& /*request*/) {
        return std::nullopt;
    }
    /// For users: "host", the name of a description.
    virtual std::string name() const { return "machine"; }
};

}  // namespace varnock::agent
