#include "EventFeed.h"

#include <cimple/Thread.h>
#include <cimple/cimple.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <utility>

namespace krm {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstPause{1000};
constexpr milliseconds kLongestPause{10000};
/// How long stop() waits for a thread that may be blocked in the library.
constexpr milliseconds kPatience{1000};

}  // namespace

/// State shared by the feed and its thread. The thread may outlive the feed.
struct EventFeed::Shared {
    explicit Shared(std::unique_ptr<EventSource> from) : source(std::move(from)) {}

    std::unique_ptr<EventSource> source;
    LogEntryRelay relay;
    std::atomic<bool> stopping{false};
    std::mutex mutex;
    std::condition_variable changed;
    bool ended = true;
};

EventFeed::EventFeed(std::unique_ptr<EventSource> source)
    : shared_(std::make_shared<Shared>(std::move(source))) {}

EventFeed::~EventFeed() {
    stop();
}

bool EventFeed::start(LogEntryRelay::Deliver deliver) {
    auto forThread = std::make_unique<std::shared_ptr<Shared>>(shared_);
    if (!shared_->relay.start(std::move(deliver))) {
        return false;
    }
    cimple::Thread thread;
    shared_->ended = false;
    if (cimple::Thread::create_detached(thread, run, forThread.get()) != 0) {
        shared_->ended = true;
        shared_->relay.stop();
        return false;
    }
    static_cast<void>(forThread.release());  // run() owns it now
    return true;
}

void EventFeed::stop() {
    if (shared_->stopping.exchange(true)) {
        return;
    }
    shared_->source->wake();
    {
        std::unique_lock<std::mutex> lock(shared_->mutex);
        shared_->changed.wait_for(lock, kPatience, [&] { return shared_->ended; });
    }
    shared_->relay.stop();
}

namespace {

/// Even without memory, the next attempt may succeed.
bool opened(EventSource& source) {
    try {
        return source.open();
    } catch (const std::exception&) {
        return false;
    }
}

EventSource::Outcome nextOf(EventSource& source, LogEvent& event) {
    try {
        return source.next(event);
    } catch (const std::exception&) {
        return EventSource::Outcome::closed;
    }
}

/// Delivers events until the agent disappears or wake() is called. True if any event arrived.
bool relayEvents(EventSource& source, LogEntryRelay& relay) {
    for (bool came = false;; came = true) {
        LogEvent event{};
        const EventSource::Outcome outcome = nextOf(source, event);
        if (outcome == EventSource::Outcome::event) {
            relay.add(event);
        } else if (outcome != EventSource::Outcome::nothing) {
            return came;
        }
    }
}

}  // namespace

void* EventFeed::run(void* argument) {
    const std::unique_ptr<std::shared_ptr<Shared>> owner(
        static_cast<std::shared_ptr<Shared>*>(argument));
    Shared& shared = **owner;
    follow(shared);
    const std::lock_guard<std::mutex> lock(shared.mutex);
    shared.ended = true;
    shared.changed.notify_all();
    return nullptr;
}

void EventFeed::follow(Shared& shared) {
    bool isReachable = true;  // as far as the client knows
    milliseconds pause = kFirstPause;
    for (;;) {
        if (opened(*shared.source)) {
            if (!std::exchange(isReachable, true)) {
                shared.relay.add({LogEvent::agentReachable, nullptr, 0});
            }
            if (relayEvents(*shared.source, shared.relay)) {
                pause = kFirstPause;
            }
            shared.source->close();
        }
        if (shared.stopping) {
            return;
        }
        if (std::exchange(isReachable, false)) {
            shared.relay.add({LogEvent::agentUnreachable, nullptr, 0});
        }
        shared.source->pause(pause);
        pause = std::min(pause * 2, kLongestPause);
    }
}

}  // namespace krm
