#include <benchmark/benchmark.h>

#include "bench/support/MinimalAgent.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    const varnock::bench::MinimalAgent agent;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
