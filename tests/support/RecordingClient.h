#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "CIM/Provider/Include/KOLMClient.h"
#include "transport/SipJson.h"

namespace varnock::test {

/// The reaction of a RecordingClient to a request.
struct ScriptedReply {
    int result = provider::KOLM_SUCCESS;
    unsigned int status = 0;
    std::string data;             ///< JSON text of the data; empty for none
    std::function<void()> raise;  ///< throws instead of replying

    /// Success with this data, as JSON text.
    static ScriptedReply of(std::string data) { return {.data = std::move(data), .raise = {}}; }
    static ScriptedReply of(unsigned int number) { return of(std::to_string(number)); }
    /// Success with a byte block.
    static ScriptedReply ofBytes(const std::vector<unsigned int>& bytes) {
        std::string text;
        for (const unsigned int byte : bytes) {
            text += (text.empty() ? "" : ",") + std::to_string(byte);
        }
        return of("{\"RAW\":[" + text + "]}");
    }
    /// Success without data.
    static ScriptedReply empty() { return {}; }
    /// A failed request with this status.
    static ScriptedReply failure(unsigned int status = 1) {
        return {.result = provider::KOLM_FAILED, .status = status, .data = {}, .raise = {}};
    }
    template <class Exception>
    static ScriptedReply raising(Exception exception) {
        return {.data = {}, .raise = [exception] { throw exception; }};
    }
};

/// A command client without an agent: it records requests and sends replies chosen by the test.
///
///     RecordingClient client;
///     client.replyWith(ScriptedReply::of(7));
///     EXPECT_EQ(calls->getNumberFans(3), 7);
///     EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0x0300, 0, 0, 3)));
///
/// Thread-safety: requests may come from several threads.
class RecordingClient final : public provider::KOLMClient {
  public:
    /// Replies to every request from now on, unless a script is running.
    void replyWith(ScriptedReply reply) {
        replyBy([reply = std::move(reply)](const SipJson&) { return reply; });
    }
    void replyBy(std::function<ScriptedReply(const SipJson&)> answer) {
        const std::lock_guard lock(mutex_);
        answer_ = std::move(answer);
    }
    /// Replies to the next requests, one each.
    void script(std::vector<ScriptedReply> replies) {
        const std::lock_guard lock(mutex_);
        script_.assign(replies.begin(), replies.end());
    }
    /// True when every reply of the script has been used.
    bool scriptDone() const {
        const std::lock_guard lock(mutex_);
        return script_.empty();
    }
    /// The records sent since the last call, as JSON text.
    std::vector<std::string> takeSent() {
        const std::lock_guard lock(mutex_);
        return std::exchange(sent_, {});
    }

    int request(SipJson& command) override {
        const ScriptedReply reply = nextReply(command);
        if (reply.raise) {
            reply.raise();
        }
        command.Import(replyText(command, reply).c_str());
        return reply.result;
    }
    /// None; the typed calls use no events.
    provider::KOLMEvents* events() override { return nullptr; }

  private:
    ScriptedReply nextReply(const SipJson& command) {
        const std::lock_guard lock(mutex_);
        sent_.push_back(command.Export());
        if (script_.empty()) {
            return answer_ ? answer_(command) : ScriptedReply();
        }
        ScriptedReply reply = script_.front();
        script_.pop_front();
        return reply;
    }
    static std::string replyText(const SipJson& command, const ScriptedReply& reply) {
        return "{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":" + std::to_string(command.OpCode()) +
               ",\"CA\":" + std::to_string(command.CabinetNr()) +
               ",\"ST\":" + std::to_string(reply.status) +
               (reply.data.empty() ? "" : ",\"DA\":" + reply.data) + "}]}}";
    }

    mutable std::mutex mutex_;
    std::function<ScriptedReply(const SipJson&)> answer_;
    std::deque<ScriptedReply> script_;
    std::vector<std::string> sent_;
};

/// The JSON text of a command record as sent. `data` holds the members after the cabinet, in order,
/// each preceded by a comma.
inline std::string commandText(unsigned int opcode, unsigned int extension, unsigned int object,
                               unsigned int cabinet, const std::string& data = "") {
    const auto unlessZero = [](const char* key, unsigned int value) {
        return value != 0 ? std::string(",\"") + key + "\":" + std::to_string(value) : "";
    };
    return "{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":" + std::to_string(opcode) +
           unlessZero("OE", extension) + unlessZero("OI", object) +
           ",\"CA\":" + std::to_string(cabinet) + data + "}]}}";
}

}  // namespace varnock::test
