#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

#include "cli/Commands.h"
#include "cli/Interrupts.h"
#include "cli/TextMatch.h"
#include "cli/agent/AgentPresence.h"
#include "cli/calls/ObservedClient.h"
#include "cli/calls/Session.h"
#include "cli/output/Failure.h"
#include "cli/watch/EventText.h"
#include "tools/Console.h"
#include "transport/AgentSocket.h"
#include "transport/SwitchClient.h"
#include "util/Mutex.h"

namespace varnockctl {
namespace {

using Clock = std::chrono::steady_clock;

/// The interval of attempts to find an agent that has gone.
constexpr std::chrono::milliseconds kLookForAgent{200};

std::string formatted(const timespec& time, const tm& parts, const char* format, const char* zone) {
    char text[64];
    const size_t length = strftime(text, sizeof text, format, &parts);
    snprintf(text + length, sizeof text - length, ".%06ld%s", time.tv_nsec / 1000, zone);
    return text;
}

std::string localTime(const timespec& time) {
    tm parts{};
    localtime_r(&time.tv_sec, &parts);
    return formatted(time, parts, "%Y-%m-%d %H:%M:%S", "");
}

std::string universalTime(const timespec& time) {
    tm parts{};
    gmtime_r(&time.tv_sec, &parts);
    return formatted(time, parts, "%Y-%m-%dT%H:%M:%S", "Z");
}

/// Prints the selected events, on the event thread. Any thread may call the other operations.
class EventPrinter final : public CSwitchClient {
  public:
    EventPrinter(const Options& options, const WatchOptions& watch, const Wakeup& wakeup)
        : CSwitchClient("varnockctl"), options_(options), watch_(watch), wakeup_(wakeup) {}
    ~EventPrinter() override { StopEventThread(); }

    void Event(SipJson& event) override;

    /// The agent has gone.
    void beginGap();
    /// Shows the gap, unless the first event after it has done so.
    void endGap();

    unsigned int printed() const { return printed_; }
    /// True after the requested number of events or the last one, or if the output has no reader
    /// any more.
    bool isDone() const { return isComplete() || isLast_ || broken_; }
    bool isComplete() const { return watch_.count != 0 && printed_ >= watch_.count; }

  private:
    bool isWanted(const std::string& line, const Json& item) const;
    [[nodiscard]] bool print(const Json& item, const std::string& line,
                             JsonAllocator& allocator) const;
    void showGap() VARNOCK_REQUIRES(order_);
    void show(const SipJson& event, const std::string& line) VARNOCK_REQUIRES(order_);

    const Options options_;
    const WatchOptions watch_;
    const Wakeup& wakeup_;
    std::atomic<unsigned int> printed_ = 0;
    varnock::Mutex order_;  ///< a gap is shown before the events after it
    std::optional<Clock::time_point> gapBegan_ VARNOCK_GUARDED_BY(order_);
    std::atomic<bool> isLast_ = false;
    std::atomic<bool> broken_ = false;
};

bool EventPrinter::isWanted(const std::string& line, const Json& item) const {
    const auto isIn = [&](const std::string& text) { return containsIgnoringCase(line, text); };
    return (watch_.include.empty() ||
            std::any_of(watch_.include.begin(), watch_.include.end(), isIn)) &&
           std::none_of(watch_.exclude.begin(), watch_.exclude.end(), isIn) &&
           options_.selection.passes(item);
}

bool EventPrinter::print(const Json& item, const std::string& line,
                         JsonAllocator& allocator) const {
    if (options_.format != Format::csv) {
        return printItem("events", item, line, options_.format);
    }
    const std::vector<Json> rows = rowsOf(item, allocator);
    return std::all_of(rows.begin(), rows.end(), [&](const Json& row) {
        return printItem("events", row, line, options_.format);
    });
}

void EventPrinter::beginGap() {
    const varnock::ScopedLock guard(order_);
    gapBegan_ = gapBegan_.value_or(Clock::now());
}

void EventPrinter::endGap() {
    const varnock::ScopedLock guard(order_);
    showGap();
}

void EventPrinter::showGap() {
    if (!gapBegan_ || isDone()) {
        return;
    }
    const EventGap gap{std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - *gapBegan_)};
    gapBegan_.reset();
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    JsonDocument document;
    auto& allocator = document.GetAllocator();
    const Json item = gapJson(gap, universalTime(now), allocator);
    broken_ = !print(item, localTime(now) + " --- " + gap.text() + " ---", allocator);
}

void EventPrinter::Event(SipJson& event) {
    const std::string line = eventLine(event);
    if (options_.wire) {
        showRecord('<', event.Export());
    }
    const varnock::ScopedLock guard(order_);
    showGap();
    if (!isDone()) {
        show(event, line);
    }
    if (isDone()) {
        wakeup_.wake();
    }
}

void EventPrinter::show(const SipJson& event, const std::string& line) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    JsonDocument document;
    auto& allocator = document.GetAllocator();
    const Json item = eventJson(event, universalTime(now), allocator);
    if (!isWanted(line, item)) {
        return;
    }
    if (print(item, localTime(now) + " " + line, allocator)) {
        ++printed_;
        isLast_ = options_.selection.isLast(item);
    } else {
        broken_ = true;
    }
}

/// Shows the events of an agent, also after its restarts.
class Watch {
  public:
    Watch(const Options& options, const WatchOptions& watch)
        : watch_(watch), printer_(options, watch, wakeup_) {}

    Answer run();

  private:
    void begin();
    [[nodiscard]] bool wait();
    void look(bool connectionIsReady);
    void lose();
    void find();
    Answer end() const;

    const WatchOptions watch_;
    const Wakeup wakeup_;
    const Interrupts interrupts_{wakeup_};
    EventPrinter printer_;
    AgentPresence presence_{RequestSocketPath()};
    const Clock::time_point started_ = Clock::now();
    bool agentIsThere_ = false;
    bool timedOut_ = false;
};

void Watch::begin() {
    requireAgent(RequestSocketPath());
    requireAgent(EventSocketPath());
    SetClientName("varnockctl");
    if (!presence_.connect() || !printer_.EnableEvents(1, 0)) {
        throw Failure(ExitStatus::refused, "the agent refuses the registration for events");
    }
    agentIsThere_ = true;
}

/// False at the end of the watch.
bool Watch::wait() {
    std::chrono::milliseconds rest =
        agentIsThere_ ? std::chrono::milliseconds::max() : kLookForAgent;
    if (watch_.timeout) {
        const auto end = started_ + *watch_.timeout;
        rest = std::min(rest, std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()));
        timedOut_ = rest.count() <= 0;
    }
    if (Interrupts::happened() || printer_.isDone() || timedOut_) {
        return false;
    }
    const bool forEver = rest == std::chrono::milliseconds::max();
    const auto limit = std::min<std::chrono::milliseconds::rep>(rest.count(), 1'000'000'000);
    pollfd descriptors[] = {
        {wakeup_.fd(), POLLIN, 0}, {presence_.fd(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    poll(descriptors, 3, forEver ? -1 : static_cast<int>(limit));
    if (descriptors[2].revents != 0 && isOutputGone()) {
        return false;
    }
    look(descriptors[1].revents != 0);
    return true;
}

void Watch::look(bool connectionIsReady) {
    if (agentIsThere_ && connectionIsReady && presence_.hasGone()) {
        lose();
    } else if (!agentIsThere_) {
        find();
    }
}

void Watch::lose() {
    say("the agent has gone; waiting for its return");
    presence_.disconnect();
    // The library would also reconnect, but only for ten minutes.
    printer_.EnableEvents(0, 0);
    agentIsThere_ = false;
    printer_.beginGap();
}

void Watch::find() {
    if (ProbeAgentSocket(EventSocketPath()) == 0 && presence_.connect() &&
        printer_.EnableEvents(1, 0)) {
        printer_.endGap();
        say("the agent is back");
        agentIsThere_ = true;
    } else {
        presence_.disconnect();
    }
}

/// The registration ends with the connection. The event thread is joined only after the answer has
/// been printed, because the agent may be stuck.
Answer Watch::end() const {
    if (Interrupts::happened()) {
        return failed(Interrupts::failure());
    }
    if (timedOut_ && watch_.count != 0 && !printer_.isComplete()) {
        return failed({ExitStatus::timeout, std::to_string(printer_.printed()) + " of " +
                                                std::to_string(watch_.count) +
                                                " events arrived within the time limit"});
    }
    return listAnswer("events");
}

Answer Watch::run() {
    begin();
    while (wait()) {
    }
    return end();
}

}  // namespace

Answer runWatch(const Options& options, const WatchOptions& watch) {
    const auto watching = std::make_shared<Watch>(options, watch);
    Answer answer = watching->run();
    answer.held = watching;
    return answer;
}

}  // namespace varnockctl
