#pragma once

#include <memory>

#include "EventSource.h"
#include "LogEntryRelay.h"

namespace krm {

/// Delivers the agent's events during a subscription, through restarts of the agent: if the agent
/// is absent, it retries in the background after 1, 2, 4 and 8 s, then every 10 s. The client is
/// informed when the agent becomes unreachable and when it is reachable again.
///
/// Thread-safety: for one thread.
class EventFeed {
  public:
    explicit EventFeed(std::unique_ptr<EventSource> source = std::make_unique<EventSource>());
    ~EventFeed();
    EventFeed(const EventFeed&) = delete;
    EventFeed& operator=(const EventFeed&) = delete;

    /// Starts, once. Must be called on a thread of the framework, whose context the delivering
    /// threads inherit. False if no thread can be created.
    bool start(LogEntryRelay::Deliver deliver);
    /// Ends the feed. Nothing is delivered after it returns. Does not wait for a registration that
    /// the agent does not answer: that ends later by itself and does not affect other feeds.
    void stop();

  private:
    struct Shared;
    static void* run(void* argument);
    static void follow(Shared& shared);

    std::shared_ptr<Shared> shared_;
};

}  // namespace krm
