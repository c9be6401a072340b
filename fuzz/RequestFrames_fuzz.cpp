#include <chrono>
#include <string>

#include "fuzz/FuzzedPeer.h"
#include "fuzz/Fuzzing.h"
#include "transport/AgentSocket.h"
#include "transport/SipJson.h"
#include "transport/SwitchClient.h"
#include "transport/channel/RequestChannel.h"

// Sends two requests over a real socket to an agent that does what the fuzzer's bytes say, see
// FuzzedPeer. Every request ends within its time, with the same status as result and in the record;
// an agent that answers correctly is understood.

namespace {

using varnock::CommandStatus;
using varnock::fuzz::FuzzedPeer;
using varnock::fuzz::Input;
using varnock::fuzz::require;

/// A request waits for the registration and for its reply; the attempts to send and to receive take
/// further seconds, see sendRequestOnFd().
constexpr std::chrono::milliseconds kLongestRequest{2 * varnock::kLongestTimeout};

void exchange(FuzzedPeer& peer) {
    CSwitchClient client("fuzz");
    SipJson record(0x0301, 2, 3, 4, SipJson::noStatus);
    const auto begin = peer.monotonicTime();
    const unsigned int status = client.Request(record, 1000, 0, 0);
    require(record.Status() == status, "the status differs from that of the record");
    require(peer.monotonicTime() - begin <= kLongestRequest, "a request takes too long");
    const FuzzedPeer::Sent& sent = peer.sent();
    const auto frames = varnock::fuzz::framesIn(sent.bytes, varnock::kFrameLimit);
    if (!sent.isRegistered || sent.steps != 2 || frames.size() != 2 || sent.hasPaused) {
        return;
    }
    // The registration and this request were answered with one frame each.
    SipJson expected;
    expected.Import(frames[1].c_str());
    if (expected.Status() == CommandStatus::successToo) {
        expected.SetStatus(toNumber(CommandStatus::success));
    }
    require(record.Export() == expected.Export(), "the reply is not the frame that was sent");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FuzzedPeer peer("ragdsj");
    peer.begin(Input(data, size));
    exchange(peer);
    exchange(peer);
    RagdClientDestroyTSD();
    return 0;
}
