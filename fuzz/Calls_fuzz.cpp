#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "fuzz/Fuzzing.h"
#include "tests/support/CallTable.h"
#include "transport/AgentProtocol.h"
#include "transport/SipJson.h"

// Decodes any replies in every typed call. Only the exceptions of the provider layer may leave a
// call, and the same replies give the same result.
//
// Input: the number of the call (2 bytes), four numbers for the arguments, flags; then the replies,
// each a form, a length (2 bytes, the low one first) and that many bytes.

namespace {

using varnock::CommandStatus;
using varnock::fuzz::Input;
using varnock::fuzz::require;

/// A scan sends one command for each component, of which a reply can announce 65535.
constexpr std::size_t kMostExchanges = 24;

std::string quoted(std::string_view text) {
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

std::string block(std::string_view bytes) {
    std::string items;
    for (const char byte : bytes) {
        items += (items.empty() ? "" : ",") + std::to_string(static_cast<unsigned char>(byte));
    }
    return R"({"RAW":[)" + items + "]}";
}

std::string number(std::string_view bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes.size() && i < sizeof value; ++i) {
        value |= std::uint32_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
    }
    return std::to_string(value);
}

std::string record(const std::string& command) {
    return R"({"SIP":{"V":1,"CMD":[)" + command + "]}}";
}

/// The text of the next reply.
std::string replyIn(Input& input) {
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

/// A command client whose agent sends the fuzzer's replies. It maps the status to a result as the
/// real one does.
class FuzzedClient final : public provider::KOLMClient {
  public:
    FuzzedClient(const std::vector<std::string>& replies, bool repeatsLast)
        : replies_(replies), repeatsLast_(repeatsLast) {}

    int request(SipJson& command) override {
        if (!begun_) {
            command.SetStatus(toNumber(CommandStatus::notAvailable));
        } else if (exchanges_ == kMostExchanges) {
            command.SetStatus(toNumber(CommandStatus::noChannel));
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
    std::size_t exchanges_ = 0;
    bool begun_ = false;
};

/// A call with its arguments.
struct Call {
    explicit Call(Input& input)
        : entry(&varnock::test::callTable()[input.word() % varnock::test::callTable().size()]) {
        // Numbers of one byte, and those that end the ranges.
        for (unsigned int& part : parts) {
            const int value = input.number();
            part = static_cast<unsigned int>(value);
        }
        flags = input.byte();
    }

    /// The result of the call as text, or the message of its failure.
    std::string run(const std::vector<std::string>& replies) const {
        FuzzedClient client(replies, (flags & 1) != 0);
        const auto calls = provider::newKOLMCalls(&client);
        client.begin();
        SipJson record(parts[0], parts[1], parts[2], parts[3], 0);
        varnock::test::CallArguments arguments;
        arguments.key = provider::KOLMKey(parts[0], parts[1], parts[2]);
        arguments.number = parts[0];
        arguments.value = parts[3];
        arguments.text = (flags & 2) != 0 ? "node" : "";
        arguments.record = &record;
        try {
            return entry->invoke(*calls, arguments);
        } catch (const provider::BaseException& failure) {
            return failure.toString().c_str();
        }
    }

    const varnock::test::CallEntry* entry;
    std::array<unsigned int, 4> parts{};
    unsigned int flags = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Call call(input);
    std::vector<std::string> replies;
    while (!input.isEmpty()) {
        replies.push_back(replyIn(input));
    }
    require(call.run(replies) == call.run(replies), "the same replies give another result");
    return 0;
}
