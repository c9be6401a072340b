#include <benchmark/benchmark.h>

#include "bench/support/MinimalAgent.h"
#include "bench/support/SdBusPeer.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    const varnock::bench::MinimalAgent agent;
    const varnock::bench::SdBusPeer peer;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
