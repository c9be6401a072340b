// The indication provider as the framework drives it.
#include "examples/provider/KRM_TBLLogEntryIndication_Provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
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
    /// What the framework hands to the provider.
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
    /// How many handlers are gone.
    int ended() {
        const std::lock_guard lock(mutex_);
        return ended_;
    }

  private:
    static bool take(cimple::Instance* indication, void* self) {
        auto* subscription = static_cast<Subscription*>(self);
        const std::lock_guard lock(subscription->mutex_);
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
    int ended_ = 0;
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
    cimple::KRM_TBLLogEntryIndication_Provider provider;
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

TEST_F(LogEntryIndicationProvider, EventsOfOtherKindsGiveNone) {
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
    sample.agent.awaitOpenConnections(1);
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    pushEvent(0x0B11, 2);
    EXPECT_EQ(subscription.await(2)[1]->SequenceNumber.value, 2U);
    // Without being disabled first, the later subscription takes the place of the earlier.
    ASSERT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
    EXPECT_EQ(subscription.ended(), 2);
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
}

TEST_F(LogEntryIndicationProvider, AnAbsentAgentIsAFailureAtOnce) {
    sample.agent.stop();
    EXPECT_EQ(enable(), cimple::ENABLE_INDICATIONS_FAILED);
    EXPECT_THAT(cimple::Error::get(),
                HasSubstr("the agent cannot be reached at " + sample.agent.requestSocket()));
    EXPECT_EQ(provider.disable_indications(), cimple::DISABLE_INDICATIONS_OK);
    EXPECT_EQ(subscription.ended(), 1);
    sample.agent.start();
    EXPECT_EQ(enable(), cimple::ENABLE_INDICATIONS_OK);
}

}  // namespace
}  // namespace varnock::test
