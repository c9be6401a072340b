#include "runtime/Debug.h"

#include <benchmark/benchmark.h>
#include <sched.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <stdio.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <thread>

namespace varnock::bench {
namespace {

/// The cost of a trace call whose level is off.
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

/// The arguments of a line like those of the typed calls. They change with each line, so that
/// neither side can reuse the text.
struct Reading {
    unsigned int object = 0;
    void next() { ++object; }
};

void entryToFile(benchmark::State& state) {
    Reading reading;
    for (auto _ : state) {
        reading.next();
        Debug.Print(5, "KRM_TBL             : %s(): opCodeExt=0x%04x, objectId=%u, status=%d\n",
                    "getFanStatus", 0x0301U, reading.object, 0);
    }
}
BENCHMARK(entryToFile)->Name("TraceEntry/ours");
BENCHMARK(entryToFile)->Name("TraceEntryAndText/ours");

/// Moves the calling thread to the n-th processor for a scope, so that the threads of a measurement
/// are spread evenly from its start.
class OnProcessor {
  public:
    explicit OnProcessor(int n) {
        sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned int>(n) % std::thread::hardware_concurrency(), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    ~OnProcessor() { sched_setaffinity(0, sizeof before_, &before_); }
    OnProcessor(const OnProcessor&) = delete;
    OnProcessor& operator=(const OnProcessor&) = delete;

  private:
    cpu_set_t before_;
};

/// The time is that of the wall clock for each entry of all threads.
void entryOfThreads(benchmark::State& state) {
    const OnProcessor here(state.thread_index());
    entryToFile(state);
}
BENCHMARK(entryOfThreads)->Name("TraceEntry2Threads/ours")->Threads(2)->UseRealTime();
BENCHMARK(entryOfThreads)->Name("TraceEntry2Threads/peer")->UseRealTime();
BENCHMARK(entryOfThreads)->Name("TraceEntry8Threads/ours")->Threads(8)->UseRealTime();
BENCHMARK(entryOfThreads)->Name("TraceEntry8Threads/peer")->UseRealTime();

void entryToSpdlog(benchmark::State& state) {
    const char* directory = getenv("QX_LOG_RINGBUF_DIR");
    const std::string path = std::string(directory != nullptr ? directory : ".") + "/spdlog.txt";
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, true);
    spdlog::logger logger("CIM_Provider", sink);
    Reading reading;
    for (auto _ : state) {
        reading.next();
        logger.info("KRM_TBL             : {}(): opCodeExt=0x{:04x}, objectId={}, status={}",
                    "getFanStatus", 0x0301U, reading.object, 0);
    }
    remove(path.c_str());
}
BENCHMARK(entryToSpdlog)->Name("TraceEntry/peer");

void textAlone(benchmark::State& state) {
    char text[1025];
    Reading reading;
    for (auto _ : state) {
        reading.next();
        snprintf(text, sizeof text,
                 "KRM_TBL             : %s(): opCodeExt=0x%04x, objectId=%u, status=%d\n",
                 "getFanStatus", 0x0301U, reading.object, 0);
        benchmark::DoNotOptimize(text);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(textAlone)->Name("TraceEntryAndText/peer");

}  // namespace
}  // namespace varnock::bench
