#include "agent/recording/ReplayMachine.h"

#include <algorithm>
#include <utility>

#include "tools/Console.h"

namespace varnock::agent {
namespace {

std::string channelName(Channel channel) {
    return channel == Channel::events ? "events" : "requests";
}

/// What tells requests apart; the same for all registrations of a channel.
std::string keyOf(Channel channel, const std::string& request) {
    SipJson record;
    record.Import(request.c_str());
    return channelName(channel) + " " +
           (record.OpCode() == kRegisterOpcode
                ? "registration " + std::to_string(record.OpCodeExt())
                : request);
}

/// A client that does not fit is closed.
ReplyPlan refusal(const Session& session, const std::string& text) {
    console::say("varnock-agent: " + channelName(session.channel) + " connection " +
                     std::to_string(session.number) + " does not fit the recording",
                 text);
    ReplyPlan plan;
    plan.steps.emplace_back().closes = true;
    return plan;
}

}  // namespace

ReplayMachine::ReplayMachine(Recording recording, Order order, std::string name)
    : recording_(std::move(recording)),
      order_(order),
      name_(std::move(name)),
      taken_(recording_.size()) {
    for (const RecordedConnection& connection : recording_) {
        for (const RecordedExchange& exchange : connection.exchanges) {
            replies_[keyOf(connection.channel, exchange.request)].plans.push_back(&exchange.plan);
        }
    }
}

Answer ReplayMachine::answer(const Command&) {
    Answer answer(Status::notAvailable);
    answer.reason = "not in the recording";
    return answer;
}

std::optional<ReplyPlan> ReplayMachine::recorded(const Session& session,
                                                 const std::string& request) {
    return order_ == Order::strict ? inOrder(session, request) : byRequest(session, request);
}

std::optional<ReplyPlan> ReplayMachine::byRequest(const Session& session,
                                                  const std::string& request) {
    const auto found = replies_.find(keyOf(session.channel, request));
    if (found == replies_.end()) {
        return std::nullopt;
    }
    Replies& replies = found->second;
    const ReplyPlan& plan = *replies.plans[replies.next];
    replies.next = std::min(replies.next + 1, replies.plans.size() - 1);
    return plan;
}

std::optional<ReplyPlan> ReplayMachine::inOrder(const Session& session,
                                                const std::string& request) {
    Cursor* const cursor = cursorFor(session, request);
    if (cursor == nullptr) {
        return refusal(session, "no connection that is left begins with " + request);
    }
    const RecordedConnection& connection = recording_[cursor->connection];
    if (cursor->next == connection.exchanges.size()) {
        return refusal(session, "it ends before " + request);
    }
    const RecordedExchange& exchange = connection.exchanges[cursor->next++];
    if (keyOf(session.channel, exchange.request) != keyOf(session.channel, request)) {
        return refusal(session, "it has " + exchange.request + " instead of " + request);
    }
    return exchange.plan;
}

/// Null if no recorded connection fits a new client.
ReplayMachine::Cursor* ReplayMachine::cursorFor(const Session& session,
                                                const std::string& request) {
    const auto known = cursors_.find(session.number);
    if (known != cursors_.end()) {
        return &known->second;
    }
    for (std::size_t i = 0; i < recording_.size(); ++i) {
        const RecordedConnection& connection = recording_[i];
        if (!taken_[i] && connection.channel == session.channel && !connection.exchanges.empty() &&
            keyOf(session.channel, connection.exchanges[0].request) ==
                keyOf(session.channel, request)) {
            taken_[i] = true;
            return &cursors_.emplace(session.number, Cursor{i}).first->second;
        }
    }
    return nullptr;
}

}  // namespace varnock::agent
