// Events that an agent sends without a pause, to the listener of a program. See bench/scale.
//   storm COUNT
// Fails unless all arrive, in the order in which they were sent.
#include <stdio.h>
#include <stdlib.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "CIM/Provider/Include/KOLMClient.h"
#include "bench/support/MinimalAgent.h"

namespace varnock::bench {
namespace {

using Clock = std::chrono::steady_clock;

/// Expects the numbers from 1.
class Storm final : public provider::KOLMEventsListener {
  public:
    explicit Storm(unsigned int count) : count_(count) {}

    void onSystemMessageLogEntry(unsigned int number) override {
        const std::lock_guard lock(mutex_);
        if (arrived_ == 0) {
            begin_ = Clock::now();
        }
        if (arrived_ == count_) {
            return;
        }
        isInOrder_ = isInOrder_ && number == arrived_ + 1;
        if (++arrived_ == count_) {
            time_ = Clock::now() - begin_;
            over_.notify_all();
        }
    }
    void onDriverMonitorLogEntry(unsigned int) override {}

    /// Events a second, once all have arrived; 0 if one was lost or came too early.
    double rate() {
        std::unique_lock lock(mutex_);
        over_.wait(lock, [this] { return arrived_ == count_; });
        return isInOrder_ ? static_cast<double>(count_) / time_.count() : 0;
    }

  private:
    const unsigned int count_;
    std::mutex mutex_;
    std::condition_variable over_;
    unsigned int arrived_ = 0;
    bool isInOrder_ = true;
    Clock::time_point begin_;
    std::chrono::duration<double> time_{0};
};

}  // namespace
}  // namespace varnock::bench

int main(int argc, char** argv) {
    using namespace varnock::bench;
    const unsigned long count = argc == 2 ? strtoul(argv[1], nullptr, 10) : 0;
    if (count < 2) {
        fputs("usage: storm COUNT\n", stderr);
        return 2;
    }
    const MinimalAgent agent(MinimalAgent::Processors::all, MinimalAgent::Events::numbers);
    const auto client = provider::getKOLMClient("storm");
    Storm storm(static_cast<unsigned int>(count));
    client->events()->setListener(&storm);
    if (!client->events()->enableEvents()) {
        fputs("storm: no events\n", stderr);
        return 1;
    }
    const double rate = storm.rate();
    client->events()->disableEvents();
    if (rate == 0) {
        fputs("storm: the events arrived in another order\n", stderr);
        return 1;
    }
    printf("%lu events, all in order   %10.0f events/s\n", count, rate);
}
