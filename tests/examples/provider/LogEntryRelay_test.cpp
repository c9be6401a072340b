#include "examples/provider/LogEntryRelay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace varnock::test {
namespace {

using testing::ElementsAre;

/// Collects the delivered events; a closed gate blocks the delivery.
class Deliveries {
  public:
    void take(const krm::LogEvent& event) {
        std::unique_lock lock(mutex_);
        ++begun_;
        changed_.notify_all();
        changed_.wait(lock, [&] { return open_; });
        if (--refusals_ >= 0) {
            throw std::bad_alloc();
        }
        texts_.push_back(textOf(event));
        changed_.notify_all();
    }
    void setOpen(bool open) {
        const std::lock_guard lock(mutex_);
        open_ = open;
        changed_.notify_all();
    }
    /// The number of deliveries that fail.
    void refuse(int count) {
        const std::lock_guard lock(mutex_);
        refusals_ = count;
    }
    void awaitBegun(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return begun_ >= count; });
    }
    std::vector<std::string> await(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return texts_.size() >= count; });
        return texts_;
    }
    std::size_t count() {
        const std::lock_guard lock(mutex_);
        return texts_.size();
    }

  private:
    static std::string textOf(const krm::LogEvent& event) {
        const char* const kinds[] = {event.logName, "unreachable", "reachable", "lost"};
        return std::string(kinds[event.kind]) + " " + std::to_string(event.number);
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = true;
    std::size_t begun_ = 0;
    int refusals_ = 0;
    std::vector<std::string> texts_;
};

class LogEntryRelay : public testing::Test {
  protected:
    void start() {
        ASSERT_TRUE(relay.start([this](const krm::LogEvent& event) { deliveries.take(event); }));
    }
    ~LogEntryRelay() override { relay.stop(); }
    void addEntry(unsigned int number) {
        relay.add({krm::LogEvent::entry, "System Message Log", number});
    }

    Deliveries deliveries;
    krm::LogEntryRelay relay;
};

TEST_F(LogEntryRelay, HandsEventsOnInTheirOrder) {
    start();
    addEntry(7);
    relay.add({krm::LogEvent::entry, "Driver Monitor Log", 8});
    EXPECT_THAT(deliveries.await(2), ElementsAre("System Message Log 7", "Driver Monitor Log 8"));
}

TEST_F(LogEntryRelay, TakesEventsWhileADeliveryIsHeldUp) {
    start();
    deliveries.setOpen(false);
    addEntry(1);
    deliveries.awaitBegun(1);
    addEntry(2);
    addEntry(3);
    deliveries.setOpen(true);
    EXPECT_EQ(deliveries.await(3).back(), "System Message Log 3");
}

TEST_F(LogEntryRelay, TellsHowManyOfMoreThanAThousandWereLost) {
    start();
    deliveries.setOpen(false);
    addEntry(0);
    deliveries.awaitBegun(1);
    for (unsigned int number = 1; number <= 1002; ++number) {
        addEntry(number);
    }
    deliveries.setOpen(true);
    const auto texts = deliveries.await(1002);
    EXPECT_EQ(texts[0], "System Message Log 0");
    EXPECT_EQ(texts[1], "lost 2");
    EXPECT_EQ(texts[2], "System Message Log 3");
    EXPECT_EQ(texts[1001], "System Message Log 1002");
    // The count of lost entries has been reset.
    addEntry(2000);
    EXPECT_EQ(deliveries.await(1003).back(), "System Message Log 2000");
}

TEST_F(LogEntryRelay, AGapThatIsLostIsStillAGap) {
    start();
    deliveries.setOpen(false);
    addEntry(0);
    deliveries.awaitBegun(1);
    relay.add({krm::LogEvent::agentUnreachable, nullptr, 0});
    relay.add({krm::LogEvent::entriesLost, nullptr, 5});
    for (unsigned int number = 1; number <= 1000; ++number) {
        addEntry(number);
    }
    deliveries.setOpen(true);
    const auto texts = deliveries.await(1002);
    EXPECT_EQ(texts[1], "lost 5");
    EXPECT_EQ(texts[2], "System Message Log 1");
}

TEST_F(LogEntryRelay, ADeliveryThatFailsIsALoss) {
    start();
    deliveries.refuse(1);
    addEntry(1);
    deliveries.awaitBegun(1);
    addEntry(2);
    EXPECT_THAT(deliveries.await(2), ElementsAre("lost 1", "System Message Log 2"));
}

TEST_F(LogEntryRelay, DeliversNothingAfterItWasStopped) {
    relay.stop();
    addEntry(1);
    start();
    addEntry(2);
    deliveries.await(1);
    relay.stop();
    addEntry(3);
    relay.stop();
    EXPECT_EQ(deliveries.count(), 1U);
    start();
    addEntry(4);
    EXPECT_THAT(deliveries.await(2), ElementsAre("System Message Log 2", "System Message Log 4"));
}

}  // namespace
}  // namespace varnock::test
