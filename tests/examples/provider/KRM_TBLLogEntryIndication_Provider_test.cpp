// The indication provider as called by the framework.
#include "examples/provider/KRM_TBLLogEntryIndication_Provider.h"

#include <cimple/cimom.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include "tests/examples/provider/SampleAgent.h"

namespace varnock::test {
namespace {

using cimple::KRM_TBLLogEntryIndication;
using Indication = cimple::Ref<KRM_TBLLogEntryIndication>;
using testing::HasSubstr;

/// The receiving end of a subscription.
class Subscription {
  public:
    /// The handler that the framework passes to the provider.
    cimple::Indication_Handler<KRM_TBLLogEntryIndication>* newHandler() {
        return new cimple::Indication_Handler<KRM_TBLLogEntryIndication>(take, this);
    }
    std::vector<Indication> await(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return indications_.size() >= count; });
        return indications_;
    }
    std::size_t count() {
        const std::lock_guard lock(mutex_);
        return indications_.size();
    }
    /// A closed gate blocks the CIM server.
    void setOpen(bool open) {
        const std::lock_guard lock(mutex_);
        open_ = open;
        changed_.notify_all();
    }
    void awaitBegun(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return begun_ >= count; });
    }
    /// The number of destroyed handlers.
    int ended() {
        const std::lock_guard lock(mutex_);
        return ended_;
    }

  private:
    static bool take(cimple::Instance* indication, void* self) {
        auto* subscription = static_cast<Subscription*>(self);
        std::unique_lock lock(subscription->mutex_);
        ++subscription->begun_;
        subscription->changed_.notify_all();
        subscription->changed_.wait(lock, [&] { return subscription->open_; });
        if (indication != nullptr) {
            subscription->indications_.emplace_back(indication);
        } else {
            ++subscription->ended_;
        }
        subscription->changed_.notify_all();
        return true;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Indication> indications_;
    bool open_ = true;
    std::size_t begun_ = 0;
    int ended_ = 0;
};

/// A counter that threads can wait for.
class Counter {
  public:
    void add() {
        const std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    void await(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return count_ >= count; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t count_ = 0;
};

/// Pauses without a time limit: they end by the test or by wake().
class Pauses {
  public:
    void wait(const std::atomic<bool>& woken) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return woken || ended_ > 0; });
        if (!woken) {
            --ended_;
        }
    }
    /// Ends the current pause, or else the next one.
    void end() {
        const std::lock_guard lock(mutex_);
        ++ended_;
        changed_.notify_all();
    }
    void wake() {
        const std::lock_guard lock(mutex_);
        changed_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int ended_ = 0;
};

/// The agent's real channel, without pauses.
class TestSource final : public krm::EventSource {
  public:
    TestSource(Pauses& pauses, Counter& counts) : pauses_(pauses), counts_(counts) {}

    Outcome next(krm::LogEvent& event) override {
        if (std::exchange(gave_, false)) {
            counts_.add();  // it has been taken by now
        }
        const Outcome outcome = EventSource::next(event);
        gave_ = outcome == Outcome::event;
        return outcome;
    }
    void pause(std::chrono::milliseconds) override { pauses_.wait(woken_); }
    void wake() override {
        woken_ = true;
        pauses_.wake();
        EventSource::wake();
    }

  private:
    Pauses& pauses_;
    Counter& counts_;
    bool gave_ = false;
    std::atomic<bool> woken_{false};
};

class LogEntryIndicationProvider : public testing::Test {
  protected:
    LogEntryIndicationProvider() { EXPECT_EQ(provider.load(), cimple::LOAD_OK); }

    int enable() { return provider.enable_indications(subscription.newHandler()); }
    void pushEvent(unsigned int opcode, unsigned int number) {
        sample.agent.pushEvent({.opcode = opcode, .status = 0, .data = numberData(number)});
    }

    SampleAgent sample;
    Subscription subscription;
    Pauses pauses;
    Counter counts;  ///< of the events that wait for their delivery, or did
    cimple::KRM_TBLLogEntryIndication_Provider provider{
        [this] { return std::make_unique<TestSource>(pauses, counts); }};
};

TEST_F(LogEntryIndicationProvider, TurnsEventsIntoIndications) {
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    pushEvent(0x0B11, 41);
    pushEvent(0x181B, 42);
    const auto indications = subscription.await(2);
    EXPECT_STREQ(indications[0]->LogName.value.c_str(), "System Message Log");
    EXPECT_EQ(indications[0]->SequenceNumber.value, 41U);
    EXPECT_TRUE(indications[0]->IndicationTime.value.is_timestamp());
    EXPECT_EQ(indications[0]->IndicationTime.null, 0);
    EXPECT_EQ(indications[0]->IndicationIdentifier.null, 1);
    EXPECT_STREQ(indications[1]->LogName.value.c_str(), "Driver Monitor Log");
    EXPECT_EQ(indications[1]->SequenceNumber.value, 42U);
    EXPECT_EQ(provider.disable_indications(), cimple::DISABLE_INDICATIONS_OK);
    EXPECT_EQ(subscription.ended(), 1);
    EXPECT_EQ(provider.unload(), cimple::UNLOAD_OK);
    EXPECT_EQ(subscription.ended(), 1);
}

TEST_F(LogEntryIndicationProvider, OtherEventsGiveNoIndication) {
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    pushEvent(0x0B12, 1);
    sample.agent.pushEvent({.opcode = 0x0B11, .status = 0});
    pushEvent(0x0B11, 2);
    EXPECT_EQ(subscription.await(1)[0]->SequenceNumber.value, 2U);
}

TEST_F(LogEntryIndicationProvider, CanBeEnabledAgain) {
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    pushEvent(0x0B11, 1);
    subscription.await(1);
    ASSERT_EQ(provider.disable_indications(), cimple::DISABLE_INDICATIONS_OK);
    sample.agent.awaitOpenConnections(0);
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    pushEvent(0x0B11, 2);
    EXPECT_EQ(subscription.await(2)[1]->SequenceNumber.value, 2U);
    // A second subscription replaces the first, even if that was not disabled.
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    EXPECT_EQ(subscription.ended(), 2);
}

TEST_F(LogEntryIndicationProvider, IsNotUnloadedWhileASubscriptionStands) {
    EXPECT_TRUE(cimple::detail::mayUnload());
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    EXPECT_FALSE(cimple::detail::mayUnload());
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    EXPECT_FALSE(cimple::detail::mayUnload());
    ASSERT_EQ(provider.disable_indications(), cimple::DISABLE_INDICATIONS_OK);
    EXPECT_TRUE(cimple::detail::mayUnload());
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    EXPECT_EQ(provider.unload(), cimple::UNLOAD_OK);
    EXPECT_TRUE(cimple::detail::mayUnload());
}

TEST_F(LogEntryIndicationProvider, UnloadingEndsTheSubscription) {
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    EXPECT_EQ(provider.unload(), cimple::UNLOAD_OK);
    EXPECT_EQ(subscription.ended(), 1);
    EXPECT_EQ(subscription.count(), 0U);
}

TEST_F(LogEntryIndicationProvider, ItsEndEndsTheSubscription) {
    {
        cimple::KRM_TBLLogEntryIndication_Provider other;
        ASSERT_EQ(other.enable_indications(subscription.newHandler()),
                  cimple::ENABLE_INDICATIONS_OK);
    }
    EXPECT_EQ(subscription.ended(), 1);
    EXPECT_TRUE(cimple::detail::mayUnload());
}

TEST_F(LogEntryIndicationProvider, AnAgentThatComesLaterGivesIndications) {
    sample.agent.stop();
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    const Indication gap = subscription.await(1)[0];
    EXPECT_STREQ(gap->Gap.value.c_str(), "Agent unreachable");
    EXPECT_EQ(gap->LogName.null, 1);
    EXPECT_EQ(gap->SequenceNumber.null, 1);
    EXPECT_EQ(gap->LostEntries.null, 1);
    EXPECT_EQ(gap->IndicationTime.null, 0);
    sample.agent.start();
    pauses.end();
    pushEvent(0x0B11, 5);
    const auto indications = subscription.await(3);
    EXPECT_STREQ(indications[1]->Gap.value.c_str(), "Agent reachable");
    EXPECT_EQ(indications[2]->SequenceNumber.value, 5U);
    EXPECT_EQ(indications[2]->Gap.null, 1);
}

TEST_F(LogEntryIndicationProvider, ARestartOfTheAgentIsToldAndSurvived) {
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    pushEvent(0x0B11, 1);
    subscription.await(1);
    sample.agent.stop();
    EXPECT_STREQ(subscription.await(2)[1]->Gap.value.c_str(), "Agent unreachable");
    sample.agent.start();
    pauses.end();
    EXPECT_STREQ(subscription.await(3)[2]->Gap.value.c_str(), "Agent reachable");
    pushEvent(0x0B11, 2);
    EXPECT_EQ(subscription.await(4)[3]->SequenceNumber.value, 2U);
}

TEST_F(LogEntryIndicationProvider, SaysHowManyEntriesWereLost) {
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    subscription.setOpen(false);
    pushEvent(0x0B11, 0);
    subscription.awaitBegun(1);
    constexpr unsigned int kPushed = 1005;
    for (unsigned int number = 1; number <= kPushed; ++number) {
        pushEvent(0x0B11, number);
    }
    counts.await(kPushed + 1);
    subscription.setOpen(true);
    const auto indications = subscription.await(3);
    EXPECT_STREQ(indications[1]->Gap.value.c_str(), "Entries lost");
    EXPECT_EQ(indications[1]->LostEntries.value, 5U);
    EXPECT_EQ(indications[1]->LostEntries.null, 0);
    EXPECT_EQ(indications[2]->SequenceNumber.value, 6U);
}

TEST_F(LogEntryIndicationProvider, DisablingEndsTheSearchForTheAgent) {
    sample.agent.stop();
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    subscription.await(1);
    EXPECT_EQ(provider.disable_indications(), cimple::DISABLE_INDICATIONS_OK);
    EXPECT_EQ(subscription.ended(), 1);
    EXPECT_EQ(subscription.count(), 1U);
}

TEST(LogEntryIndicationProviderWithoutSource, FailsAndKeepsTheHandlerUntilItIsDisabled) {
    Subscription subscription;
    cimple::KRM_TBLLogEntryIndication_Provider provider([]() -> std::unique_ptr<krm::EventSource> {
        throw std::system_error(EMFILE, std::generic_category(), "eventfd");
    });
    EXPECT_EQ(provider.enable_indications(subscription.newHandler()),
              cimple::ENABLE_INDICATIONS_FAILED);
    EXPECT_THAT(cimple::Error::get(), HasSubstr("eventfd"));
    EXPECT_TRUE(cimple::detail::mayUnload());
    EXPECT_EQ(provider.disable_indications(), cimple::DISABLE_INDICATIONS_OK);
    EXPECT_EQ(subscription.ended(), 1);
}

}  // namespace
}  // namespace varnock::test
