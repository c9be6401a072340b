#include <benchmark/benchmark.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "bench/support/MinimalAgent.h"
#include "bench/support/SdBusPeer.h"
#include "transport/AgentSocket.h"
#include "transport/SipJson.h"

namespace varnock::bench {
namespace {

constexpr unsigned int kNoStatus = 0xFFFFFFFF;
constexpr int kPollLimit = 30'000;

/// A whole typed call: record, text, socket, reply, decoding and trace entries.
void typedCall(benchmark::State& state) {
    // Kept for all runs, because the end of the last client ends all requests of the process.
    static const auto client = provider::getKOLMClient("bench");
    const auto calls = provider::newKOLMCalls(client.get());
    for (auto _ : state) {
        const auto fans = calls->getNumberFans(0);
        if (fans != 4) {
            state.SkipWithError("the call failed");
            break;
        }
    }
}
BENCHMARK(typedCall)->Name("TypedCall/ours")->UseRealTime();
BENCHMARK(typedCall)->Name("TypedCallSdBus/ours")->UseRealTime();

bool isReady(int descriptor, short event) {
    pollfd watched{descriptor, event, 0};
    return poll(&watched, 1, kPollLimit) == 1 && watched.revents == event;
}

/// The same frames with the same polls, without the library.
void barePingPong(benchmark::State& state) {
    const int descriptor = MinimalAgent::connectTo(RequestSocketPath());
    const std::string request = frameOf(SipJson(0x0300, 0, 0, 0, kNoStatus).Export());
    char reply[4096];
    for (auto _ : state) {
        const bool sent = isReady(descriptor, POLLOUT) &&
                          send(descriptor, request.data(), request.size(), MSG_NOSIGNAL) ==
                              static_cast<ssize_t>(request.size());
        if (!sent || !isReady(descriptor, POLLIN) || read(descriptor, reply, sizeof reply) <= 4) {
            state.SkipWithError("the exchange failed");
            break;
        }
        benchmark::DoNotOptimize(reply);
    }
    close(descriptor);
}
BENCHMARK(barePingPong)->Name("TypedCall/peer")->UseRealTime();

/// The same call over a direct connection of sd-bus, which traces nothing.
void sdBusCall(benchmark::State& state) {
    for (auto _ : state) {
        if (SdBusPeer::instance().call() != 4) {
            state.SkipWithError("the call failed");
            break;
        }
    }
}
BENCHMARK(sdBusCall)->Name("TypedCallSdBus/peer")->UseRealTime();

}  // namespace
}  // namespace varnock::bench
