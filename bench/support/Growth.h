#pragma once

#include <benchmark/benchmark.h>

namespace varnock::bench {

/// The sizes at which the cost of an entry is measured.
inline void growing(benchmark::internal::Benchmark* measured) {
    measured->RangeMultiplier(10)->Range(10, 100'000);
}

/// Ends a measurement: each round has worked on this many entries.
inline void countItems(benchmark::State& state, long entries) {
    state.SetItemsProcessed(static_cast<long>(state.iterations()) * entries);
}

}  // namespace varnock::bench
