#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "fuzz/Fuzzing.h"
#include "transport/AgentProtocol.h"
#include "transport/SipJson.h"

/// Replies of an agent from the fuzzer's bytes.
namespace varnock::fuzz {

/// A scan sends one command for each component, of which a reply can announce 65535.
inline constexpr std::size_t kMostExchanges = 24;

inline std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        char escaped[8];
        const bool isPlain = static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\';
        std::snprintf(escaped, sizeof escaped, isPlain ? "%c" : "\\u%04x",
                      isPlain ? c : static_cast<unsigned char>(c));
        out += escaped;
    }
    return out + '"';
}

inline std::string block(std::string_view bytes) {
    std::string items;
    for (const char byte : bytes) {
        items += (items.empty() ? "" : ",") + std::to_string(static_cast<unsigned char>(byte));
    }
    return R"({"RAW":[)" + items + "]}";
}

inline std::string number(std::string_view bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes.size() && i < sizeof value; ++i) {
        value |= std::uint32_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
    }
    return std::to_string(value);
}

inline std::string record(const std::string& command) {
    return R"({"SIP":{"V":1,"CMD":[)" + command + "]}}";
}

/// The text of the next reply.
inline std::string replyIn(Input& input) {
    const unsigned int form = input.byte() % 6;
    const std::string_view bytes = input.bytes(input.word());
    switch (form) {
        case 0:
            return std::string(bytes);
        case 1:
            return record(R"({"OC":1,"ST":0,"DA":)" + std::string(bytes) + "}");
        case 2:
            return record(R"({"OC":1,"ST":0,"DA":)" + block(bytes) + "}");
        case 3:
            return record(R"({"OC":1,"ST":0,"DA":)" + quoted(bytes) + "}");
        case 4:
            return record(R"({"OC":1,"ST":0,"DA":)" + number(bytes) + "}");
        default:
            return record(R"({"OC":1,"ST":)" + number(bytes) + "}");
    }
}

/// All replies in the input.
inline std::vector<std::string> repliesIn(Input& input) {
    std::vector<std::string> replies;
    while (!input.isEmpty()) {
        replies.push_back(replyIn(input));
    }
    return replies;
}

/// A command client whose agent sends the fuzzer's replies. It maps the status to a result as the
/// real one does.
class FuzzedClient final : public provider::KOLMClient {
  public:
    /// What happens after the last exchange.
    enum class End { connectionIsLost, userIsRefused };

    FuzzedClient(const std::vector<std::string>& replies, bool repeatsLast,
                 std::size_t mostExchanges = kMostExchanges, End end = End::connectionIsLost)
        : replies_(replies), repeatsLast_(repeatsLast), mostExchanges_(mostExchanges), end_(end) {}

    int request(SipJson& command) override {
        if (!begun_) {
            command.SetStatus(toNumber(CommandStatus::notAvailable));
        } else if (requests_++ >= mostExchanges_) {
            command.SetStatus(toNumber(end_ == End::userIsRefused ? CommandStatus::accessDenied
                                                                  : CommandStatus::noChannel));
        } else if (exchanges_ < replies_.size() || (repeatsLast_ && !replies_.empty())) {
            const std::size_t index = std::min(exchanges_++, replies_.size() - 1);
            exchanges_ = repeatsLast_ ? exchanges_ : index + 1;
            command.Import(replies_[index].c_str());
        } else {
            command.SetStatus(toNumber(CommandStatus::notAvailable));
        }
        const unsigned int status = command.Status();
        if (status == CommandStatus::successToo) {
            command.SetStatus(toNumber(CommandStatus::success));
        } else if (status == CommandStatus::accessDenied) {
            throw provider::CimErrorException("fuzz", 0, "refused",
                                              provider::CIM_ERR_ACCESS_DENIED);
        }
        return command.Status() == CommandStatus::success ? provider::KOLM_SUCCESS
                                                          : provider::KOLM_FAILED;
    }
    provider::KOLMEvents* events() override { return nullptr; }

    /// Ends the start, in which the requests fail.
    void begin() { begun_ = true; }

  private:
    const std::vector<std::string>& replies_;
    const bool repeatsLast_;
    const std::size_t mostExchanges_;
    const End end_;
    std::size_t requests_ = 0;
    std::size_t exchanges_ = 0;
    bool begun_ = false;
};

}  // namespace varnock::fuzz
