#pragma once

#include <chrono>
#include <cstddef>
#include <future>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "cli/Options.h"
#include "cli/metrics/OpenMetrics.h"
#include "cli/output/ExitStatus.h"
#include "util/Mutex.h"

namespace varnockctl {

/// What a reading of the machine has given.
struct Scraped {
    std::vector<MetricFamily> families;
    std::size_t calls = 0;     ///< to the agent
    std::size_t failures = 0;  ///< those calls that failed, or that are still without an answer
    ExitStatus status = ExitStatus::done;
    std::string problem = {};  ///< why values are missing; empty if none is
};

/// One reading of all metrics. It is made on a separate thread, because the library waits half a
/// minute for a stuck agent; what has been read until then is kept. Used by one thread.
class Scrape {
  public:
    /// Starts to read.
    explicit Scrape(const Options& options);
    /// Waits until the library's time limit ends the call under way.
    ~Scrape() { thread_.join(); }
    Scrape(const Scrape&) = delete;
    Scrape& operator=(const Scrape&) = delete;

    /// Waits for the end of the reading, at most this time, and returns what has been read, with
    /// the metrics about the reading itself. Throws what the reading threw, such as
    /// std::bad_alloc; a Failure is a status of the result. Call it once.
    [[nodiscard]] Scraped await(std::chrono::milliseconds patience);

  private:
    using Clock = std::chrono::steady_clock;

    void run(const Options& options);
    void readMachine(const Options& options);

    const Clock::time_point start_ = Clock::now();
    varnock::Mutex mutex_;
    Scraped scraped_ VARNOCK_GUARDED_BY(mutex_);
    std::promise<void> ended_;
    std::thread thread_;
};

}  // namespace varnockctl
