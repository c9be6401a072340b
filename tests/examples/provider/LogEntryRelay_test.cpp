#include "examples/provider/LogEntryRelay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace varnock::test {
namespace {

using testing::ElementsAre;

/// Gathers what is delivered; a closed gate holds the delivery up.
class Deliveries {
  public:
    void take(const krm::LogEntry& entry) {
        std::unique_lock lock(mutex_);
        ++begun_;
        changed_.notify_all();
        changed_.wait(lock, [&] { return open_; });
        texts_.push_back(std::string(entry.logName) + " " + std::to_string(entry.sequenceNumber));
        changed_.notify_all();
    }
    void setOpen(bool open) {
        const std::lock_guard lock(mutex_);
        open_ = open;
        changed_.notify_all();
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
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = true;
    std::size_t begun_ = 0;
    std::vector<std::string> texts_;
};

class LogEntryRelay : public testing::Test {
  protected:
    void start() {
        ASSERT_TRUE(relay.start([this](const krm::LogEntry& entry) { deliveries.take(entry); }));
    }
    ~LogEntryRelay() override { relay.stop(); }

    Deliveries deliveries;
    krm::LogEntryRelay relay;
};

TEST_F(LogEntryRelay, HandsEventsOnInTheirOrder) {
    start();
    relay.onSystemMessageLogEntry(7);
    relay.onDriverMonitorLogEntry(8);
    EXPECT_THAT(deliveries.await(2), ElementsAre("System Message Log 7", "Driver Monitor Log 8"));
}

TEST_F(LogEntryRelay, TakesEventsWhileADeliveryIsHeldUp) {
    start();
    deliveries.setOpen(false);
    relay.onSystemMessageLogEntry(1);
    deliveries.awaitBegun(1);
    relay.onSystemMessageLogEntry(2);
    relay.onSystemMessageLogEntry(3);
    deliveries.setOpen(true);
    EXPECT_EQ(deliveries.await(3).back(), "System Message Log 3");
}

TEST_F(LogEntryRelay, DropsTheOldestOfMoreThanAThousand) {
    start();
    deliveries.setOpen(false);
    relay.onSystemMessageLogEntry(0);
    deliveries.awaitBegun(1);
    for (unsigned int number = 1; number <= 1002; ++number) {
        relay.onSystemMessageLogEntry(number);
    }
    deliveries.setOpen(true);
    const auto texts = deliveries.await(1001);
    EXPECT_EQ(texts[0], "System Message Log 0");
    EXPECT_EQ(texts[1], "System Message Log 3");
    EXPECT_EQ(texts[1000], "System Message Log 1002");
}

TEST_F(LogEntryRelay, DeliversNothingAfterItWasStopped) {
    relay.stop();
    relay.onSystemMessageLogEntry(1);
    start();
    relay.onSystemMessageLogEntry(2);
    deliveries.await(1);
    relay.stop();
    relay.onSystemMessageLogEntry(3);
    relay.stop();
    EXPECT_EQ(deliveries.count(), 1U);
    start();
    relay.onSystemMessageLogEntry(4);
    EXPECT_THAT(deliveries.await(2), ElementsAre("System Message Log 2", "System Message Log 4"));
}

}  // namespace
}  // namespace varnock::test
