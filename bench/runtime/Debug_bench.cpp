#include "runtime/Debug.h"

#include <benchmark/benchmark.h>
#include <glog/logging.h>
#include <sched.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <stdio.h>
#include <stdlib.h>

#include <iomanip>
#include <memory>
#include <string>
#include <thread>
#include <vector>

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

void printReading(Reading& reading) {
    reading.next();
    Debug.Print(5, "KRM_TBL             : %s(): opCodeExt=0x%04x, objectId=%u, status=%d\n",
                "getFanStatus", 0x0301U, reading.object, 0);
}

void entryToFile(benchmark::State& state) {
    Reading reading;
    for (auto _ : state) {
        printReading(reading);
    }
}
BENCHMARK(entryToFile)->Name("TraceEntry/ours");
BENCHMARK(entryToFile)->Name("TraceEntryAndText/ours");
BENCHMARK(entryToFile)->Name("TraceEntryGlog/ours");

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

/// The wall-clock time of as many entries, whatever the number of threads. They start within a
/// hundredth of it.
void entriesOfThreads(benchmark::State& state, int threads) {
    constexpr int kEntries = 80'000;
    for (auto _ : state) {
        std::vector<std::thread> running;
        running.reserve(static_cast<std::size_t>(threads));
        for (int number = 0; number < threads; ++number) {
            running.emplace_back([number, threads] {
                const OnProcessor here(number);
                Reading reading;
                for (int i = 0; i < kEntries / threads; ++i) {
                    printReading(reading);
                }
            });
        }
        for (std::thread& thread : running) {
            thread.join();
        }
    }
}
BENCHMARK_CAPTURE(entriesOfThreads, , 2)->Name("TraceEntry2Threads/ours")->UseRealTime();
BENCHMARK_CAPTURE(entriesOfThreads, , 1)->Name("TraceEntry2Threads/peer")->UseRealTime();
BENCHMARK_CAPTURE(entriesOfThreads, , 4)->Name("TraceEntry4Threads/ours")->UseRealTime();
BENCHMARK_CAPTURE(entriesOfThreads, , 1)->Name("TraceEntry4Threads/peer")->UseRealTime();
BENCHMARK_CAPTURE(entriesOfThreads, , 8)->Name("TraceEntry8Threads/ours")->UseRealTime();
BENCHMARK_CAPTURE(entriesOfThreads, , 1)->Name("TraceEntry8Threads/peer")->UseRealTime();

std::string directoryOfFiles() {
    const char* directory = getenv("QX_LOG_RINGBUF_DIR");
    return directory != nullptr ? directory : ".";
}

void entryToSpdlog(benchmark::State& state) {
    const std::string path = directoryOfFiles() + "/spdlog.txt";
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

/// Sends the messages of glog to files, as it does by default, and none of them to the terminal.
void setUpGlog() {
    FLAGS_log_dir = directoryOfFiles();
    FLAGS_stderrthreshold = google::NUM_SEVERITIES;
    google::InitGoogleLogging("varnock_bench");
}

void entryToGlog(benchmark::State& state) {
    [[maybe_unused]] static const bool isSetUp = (setUpGlog(), true);
    Reading reading;
    for (auto _ : state) {
        reading.next();
        LOG(INFO) << "KRM_TBL             : "
                  << "getFanStatus"
                  << "(): opCodeExt=0x" << std::hex << std::setfill('0') << std::setw(4) << 0x0301U
                  << std::dec << ", objectId=" << reading.object << ", status=" << 0;
    }
}
BENCHMARK(entryToGlog)->Name("TraceEntryGlog/peer");

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
