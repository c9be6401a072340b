#include <benchmark/benchmark.h>

#include <memory>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "bench/support/Growth.h"

// The controllers of a cabinet. The agent of the benchmarks has as many as the number of the
// cabinet says.

namespace varnock::bench {
namespace {

provider::KOLMClient* client() {
    // Kept for all runs, because the end of the last client ends all requests of the process.
    static const auto kept = provider::getKOLMClient("bench");
    return kept.get();
}

/// An agent counts components in 16 bits.
void growingControllers(benchmark::internal::Benchmark* measured) {
    measured->RangeMultiplier(10)->Range(10, 10'000)->Arg(0xFFFF);
}

void scanControllers(benchmark::State& state) {
    const auto cabinet = static_cast<unsigned int>(state.range(0));
    for (auto _ : state) {
        const auto calls = provider::newKOLMCalls(client());
        calls->openControllerCardSession(cabinet);
        if (calls->getLANControllers(cabinet).size() != cabinet) {
            state.SkipWithError("the scan failed");
            break;
        }
    }
    countItems(state, state.range(0));
}
BENCHMARK(scanControllers)->Name("Growth/ControllerScan")->Apply(growingControllers)->UseRealTime();

void readControllers(benchmark::State& state) {
    const auto cabinet = static_cast<unsigned int>(state.range(0));
    const auto calls = provider::newKOLMCalls(client());
    calls->openControllerCardSession(cabinet);
    for (auto _ : state) {
        for (const provider::KOLMKey& key : calls->getLANControllers(cabinet)) {
            benchmark::DoNotOptimize(calls->getControllerLocationKey(key));
        }
    }
    countItems(state, state.range(0));
}
BENCHMARK(readControllers)->Name("Growth/ControllerRead")->Apply(growingControllers);

}  // namespace
}  // namespace varnock::bench
