#include <array>
#include <string>
#include <vector>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "fuzz/FuzzedReplies.h"
#include "tests/support/CallTable.h"
#include "transport/SipJson.h"

// Decodes any replies in every typed call. Only the exceptions of the provider layer may leave a
// call, and the same replies give the same result.
//
// Input: the number of the call (2 bytes), four numbers for the arguments, flags; then the replies,
// each a form, a length (2 bytes, the low one first) and that many bytes.

namespace {

using varnock::fuzz::FuzzedClient;
using varnock::fuzz::Input;
using varnock::fuzz::require;

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
    const std::vector<std::string> replies = varnock::fuzz::repliesIn(input);
    require(call.run(replies) == call.run(replies), "the same replies give another result");
    return 0;
}
