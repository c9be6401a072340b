// Typed calls of many threads at once, and their latencies. See bench/scale.
//   scale MILLISECONDS [SOCKET-DIRECTORY]
// With a directory the agent listens there, else it is the process of the benchmarks.
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "bench/support/MinimalAgent.h"

namespace varnock::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Latencies = std::vector<Clock::duration>;

/// The calls of one thread until `isOver`. The first one, which connects, does not count.
Latencies callUntil(const std::atomic<bool>& isOver, provider::KOLMClient* client) {
    const auto calls = provider::newKOLMCalls(client);
    Latencies latencies;
    calls->getNumberCPUs(0);
    while (!isOver) {
        const auto begin = Clock::now();
        calls->getNumberCPUs(0);
        latencies.push_back(Clock::now() - begin);
    }
    return latencies;
}

double microseconds(Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

void measure(unsigned int threads, std::chrono::milliseconds time, provider::KOLMClient* client) {
    std::atomic<bool> isOver = false;
    std::vector<Latencies> ofThreads(threads);
    std::vector<std::thread> running;
    const auto begin = Clock::now();
    for (Latencies& own : ofThreads) {
        running.emplace_back([&own, &isOver, client] { own = callUntil(isOver, client); });
    }
    std::this_thread::sleep_for(time);
    isOver = true;
    for (std::thread& thread : running) {
        thread.join();
    }
    const std::chrono::duration<double> elapsed = Clock::now() - begin;
    Latencies all;
    for (const Latencies& own : ofThreads) {
        all.insert(all.end(), own.begin(), own.end());
    }
    std::sort(all.begin(), all.end());
    if (all.empty()) {
        return;
    }
    const auto percentile = [&all](double part) {
        return microseconds(
            all[static_cast<std::size_t>(part * static_cast<double>(all.size() - 1))]);
    };
    printf("%7u %10.0f %9.1f %9.1f %9.1f %9.1f\n", threads,
           static_cast<double>(all.size()) / elapsed.count(), percentile(0.5), percentile(0.99),
           percentile(0.999), percentile(1));
    fflush(stdout);
}

}  // namespace
}  // namespace varnock::bench

int main(int argc, char** argv) {
    using namespace varnock::bench;
    const long time = argc > 1 ? strtol(argv[1], nullptr, 10) : 0;
    if (time <= 0 || argc > 3) {
        fputs("usage: scale MILLISECONDS [SOCKET-DIRECTORY]\n", stderr);
        return 2;
    }
    std::optional<MinimalAgent> minimal;
    if (argc == 3) {
        setenv("QX_RAGD_SOCKET_DIR", argv[2], 1);
    } else {
        minimal.emplace(MinimalAgent::Processors::all);
    }
    const auto client = provider::getKOLMClient("scale");
    printf("%7s %10s %9s %9s %9s %9s\n", "threads", "calls/s", "p50 us", "p99 us", "p99.9 us",
           "most us");
    for (const unsigned int threads : {1U, 2U, 4U, 8U, 16U, 32U, 64U}) {
        measure(threads, std::chrono::milliseconds(time), client.get());
    }
}
