#include "examples/provider/EventFeed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace varnock::test {
namespace {

using krm::EventSource;
using krm::LogEvent;
using std::chrono::milliseconds;
using testing::ElementsAre;

/// The steps of a source, and the record of the calls to it.
class Script {
  public:
    enum Step { absent, noMemory, open, entry, nothing, closed, broken };

    void add(std::initializer_list<Step> steps) {
        const std::lock_guard lock(mutex_);
        steps_.insert(steps_.end(), steps);
        changed_.notify_all();
    }
    /// The next step; false if wake() is called first.
    bool take(Step& step) {
        std::unique_lock lock(mutex_);
        waits_ = true;
        changed_.notify_all();
        changed_.wait(lock, [&] { return woken_ || !steps_.empty(); });
        waits_ = false;
        if (woken_) {
            return false;
        }
        step = steps_.front();
        steps_.pop_front();
        return true;
    }
    void wake() {
        const std::lock_guard lock(mutex_);
        woken_ = true;
        changed_.notify_all();
    }
    void note(const std::string& what) {
        const std::lock_guard lock(mutex_);
        notes_.push_back(what);
        changed_.notify_all();
    }
    std::vector<std::string> notes(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return notes_.size() >= count; });
        return notes_;
    }
    /// Waits until all steps are done and the source waits for more.
    void awaitEnd() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return waits_ && steps_.empty(); });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Step> steps_;
    std::vector<std::string> notes_;
    bool woken_ = false;
    bool waits_ = false;
};

/// A source that waits for its script, not for time.
class ScriptedSource final : public EventSource {
  public:
    explicit ScriptedSource(Script& script) : script_(script) {}

    bool open() override {
        Script::Step step{};
        if (!script_.take(step)) {
            return false;
        }
        if (step == Script::noMemory) {
            throw std::bad_alloc();
        }
        return step == Script::open;
    }
    Outcome next(LogEvent& event) override {
        Script::Step step{};
        if (!script_.take(step)) {
            return Outcome::woken;
        }
        event = {LogEvent::entry, "log", ++number_};
        if (step == Script::broken) {
            throw std::bad_alloc();
        }
        return step == Script::entry    ? Outcome::event
               : step == Script::closed ? Outcome::closed
                                        : Outcome::nothing;
    }
    void close() override { script_.note("close"); }
    void pause(milliseconds limit) override { script_.note(std::to_string(limit.count())); }
    void wake() override { script_.wake(); }

  private:
    Script& script_;
    unsigned int number_ = 0;
};

class EventFeed : public testing::Test {
  protected:
    void start() {
        ASSERT_TRUE(feed.start([this](const LogEvent& event) { delivered.note(textOf(event)); }));
    }
    static std::string textOf(const LogEvent& event) {
        const char* const kinds[] = {"entry", "unreachable", "reachable", "lost"};
        return kinds[event.kind];
    }

    Script script;
    Script delivered;
    krm::EventFeed feed{std::make_unique<ScriptedSource>(script)};
};

TEST_F(EventFeed, DeliversWhatComes) {
    start();
    script.add({Script::open, Script::entry, Script::nothing, Script::entry});
    EXPECT_THAT(delivered.notes(2), ElementsAre("entry", "entry"));
}

TEST_F(EventFeed, LooksForAnAbsentAgentEverLessOftenUpToALimit) {
    start();
    script.add({Script::absent, Script::absent, Script::noMemory, Script::absent, Script::absent,
                Script::absent, Script::open, Script::entry});
    EXPECT_THAT(delivered.notes(3), ElementsAre("unreachable", "reachable", "entry"));
    EXPECT_THAT(script.notes(6), ElementsAre("1000", "2000", "4000", "8000", "10000", "10000"));
}

TEST_F(EventFeed, FollowsTheAgentThroughItsRestarts) {
    start();
    script.add({Script::absent, Script::open, Script::entry, Script::closed, Script::absent,
                Script::open, Script::entry, Script::broken, Script::open});
    EXPECT_THAT(delivered.notes(8), ElementsAre("unreachable", "reachable", "entry", "unreachable",
                                                "reachable", "entry", "unreachable", "reachable"));
    // The received event has reset the pause.
    EXPECT_THAT(script.notes(6), ElementsAre("1000", "close", "1000", "2000", "close", "1000"));
}

TEST_F(EventFeed, AnAgentThatHangsUpAtOnceIsNotAskedWithoutPause) {
    start();
    script.add({Script::open, Script::closed, Script::open, Script::closed});
    EXPECT_THAT(script.notes(4), ElementsAre("close", "1000", "close", "2000"));
}

TEST_F(EventFeed, StoppingEndsTheSearch) {
    start();
    script.add({Script::absent});
    script.awaitEnd();
    feed.stop();
    EXPECT_THAT(script.notes(1), ElementsAre("1000"));
    feed.stop();
}

TEST_F(EventFeed, StoppingEndsTheDeliveryAndTellsOfNoGap) {
    start();
    script.add({Script::open, Script::entry});
    delivered.notes(1);
    script.awaitEnd();
    feed.stop();
    EXPECT_THAT(script.notes(1), ElementsAre("close"));
    EXPECT_THAT(delivered.notes(1), ElementsAre("entry"));
}

TEST_F(EventFeed, CanBeStoppedWithoutHavingBegun) {
    feed.stop();
    EXPECT_TRUE(script.notes(0).empty());
}

}  // namespace
}  // namespace varnock::test
