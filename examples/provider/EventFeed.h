#pragma once

#include <memory>

#include "EventSource.h"
#include "LogEntryRelay.h"

namespace krm {

/// Delivers the agent's events for as long as a subscription stands, through restarts of the agent:
/// one that is not there is looked for in the background, after 1, 2, 4 and 8 s, then every 10 s.
/// The client is told when the agent cannot be reached and when it can be again.
///
/// Thread-safety: for one thread.
class EventFeed {
  public:
    explicit EventFeed(std::unique_ptr<EventSource> source = std::make_unique<EventSource>());
    ~EventFeed();
    EventFeed(const EventFeed&) = delete;
    EventFeed& operator=(const EventFeed&) = delete;

    /// Begins, once. To be called on a thread of the framework, whose context those that deliver
    /// take over. False when there can be no thread.
    bool start(LogEntryRelay::Deliver deliver);
    /// Ends for good. Nothing is delivered when it returns. A registration that the agent does not
    /// answer is not waited for: it ends by itself later and disturbs no other feed.
    void stop();

  private:
    struct Shared;
    static void* run(void* shared);
    static void follow(Shared& shared);

    std::shared_ptr<Shared> shared_;
};

}  // namespace krm
