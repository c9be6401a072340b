// Prints the agent's events as they arrive, as a provider would receive them.
//   varnock-agent run --machine typical --scenario fan-failure -- event_watcher
// Ends with 0 after the expected number of events, which is 2 by default: a component fails and
// recovers. Ends with 1 if they do not come within the time limit.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "transport/AgentSocket.h"

namespace {

using Seconds = std::chrono::duration<double>;

/// Prints each event and counts it. Called on the library's event thread.
class Watcher final : public provider::KOLMEventsListener {
  public:
    explicit Watcher(unsigned long expected) : expected_(expected) {}

    void onSystemMessageLogEntry(unsigned int number) override { take("systemMessageLog", number); }
    void onDriverMonitorLogEntry(unsigned int number) override { take("driverMonitorLog", number); }

    /// Waits for the expected events; returns how many came.
    unsigned long wait(Seconds limit) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, limit, [this] { return count_ >= expected_; });
        return count_;
    }

  private:
    void take(const char* log, unsigned int number) {
        const std::lock_guard lock(mutex_);
        if (count_ == expected_) {
            return;
        }
        std::printf("%s %u\n", log, number);
        std::fflush(stdout);
        ++count_;
        changed_.notify_one();
    }

    const unsigned long expected_;
    unsigned long count_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
};

/// True for a number above 0 and up to a million.
bool isNumber(const char* text, double& number) {
    char* end = nullptr;
    number = std::strtod(text, &end);
    return *end == '\0' && number > 0 && number <= 1'000'000;
}

/// Throws provider::BaseException if the agent does not take the client.
int watch(unsigned long expected, Seconds limit) {
    Watcher watcher(expected);
    const auto client = provider::getKOLMClient("event_watcher");
    provider::KOLMEvents* const events = client->events();
    events->setListener(&watcher);
    if (!events->enableEvents()) {
        std::fputs("event_watcher: the agent sends no events\n", stderr);
        return 1;
    }
    const unsigned long count = watcher.wait(limit);
    events->disableEvents();
    events->setListener(nullptr);
    if (count < expected) {
        std::fprintf(stderr, "event_watcher: %lu of %lu events came within %g s\n", count, expected,
                     limit.count());
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    double events = 2;
    double seconds = 60;
    if (argc > 3 || (argc > 1 && !isNumber(argv[1], events)) ||
        events != static_cast<double>(static_cast<unsigned long>(events)) ||
        (argc == 3 && !isNumber(argv[2], seconds))) {
        std::fputs("usage: event_watcher [EVENTS [SECONDS]]\n", stderr);
        return 2;
    }
    // Without an agent every call would try for ten minutes.
    if (const int error = ProbeAgentSocket(RequestSocketPath())) {
        std::fprintf(stderr, "event_watcher: no agent at %s: %s\n", RequestSocketPath().c_str(),
                     std::strerror(error));
        return 1;
    }
    try {
        return watch(static_cast<unsigned long>(events), Seconds(seconds));
    } catch (const provider::BaseException& failure) {
        std::fprintf(stderr, "event_watcher: %s\n", failure.toString().c_str());
        return 1;
    }
}
