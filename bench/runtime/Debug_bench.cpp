#include "runtime/Debug.h"

#include <benchmark/benchmark.h>

namespace varnock::bench {
namespace {

// What a caller pays for a trace line that nobody wants to see.
void levelOff(benchmark::State& state) {
    Debug.ForceMaxDebug(0);
    for (auto _ : state) {
        if (Debug.IsOn(5)) {
            Debug.Print(5, "value %d\n", 1);
        }
        benchmark::ClobberMemory();
    }
    Debug.ForceMaxDebug(1);
}
BENCHMARK(levelOff)->Name("TraceLevelOff/ours");

void emptyLoop(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::ClobberMemory();
    }
}
BENCHMARK(emptyLoop)->Name("TraceLevelOff/peer");

}  // namespace
}  // namespace varnock::bench
