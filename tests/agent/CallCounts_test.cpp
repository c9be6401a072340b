#include "agent/CallCounts.h"

#include <gtest/gtest.h>

#include <vector>

namespace varnock::agent {
namespace {

using std::chrono::seconds;

class CallCountsTest : public testing::Test {
  protected:
    /// Expects a fan's status, and adds the verdict to the list.
    void expect(std::optional<unsigned> object, unsigned times, AgentClock::Time within) {
        counts_.expect({{0x0301, 0}, object, times, within},
                       [this](unsigned seen) { verdicts_.push_back(seen); });
    }

    EventLoop loop_ = newEventLoop();
    AgentClock clock_{loop_.get(), AgentClock::Kind::isVirtual};
    CallCounts counts_{clock_};
    std::vector<unsigned> verdicts_;
};

TEST_F(CallCountsTest, CountByCommandAndObject) {
    counts_.note({0x0301, 0, 2});
    clock_.advance(seconds(3));
    counts_.note({0x0301, 0, 2});
    counts_.note({0x0301, 0, 1});
    ASSERT_EQ(counts_.all().size(), 2U);
    const CallCounts::Count& fan = counts_.all().at({0x0301, 0, 2});
    EXPECT_EQ(fan.times, 2U);
    EXPECT_EQ(fan.last, seconds(3));
    EXPECT_EQ(counts_.others(), 0U);
}

TEST_F(CallCountsTest, CountWhatIsTooMuchAsOthers) {
    for (unsigned object = 0; object < CallCounts::kMost + 3; ++object) {
        counts_.note({0x0301, 0, object});
    }
    counts_.note({0x0301, 0, 0});
    EXPECT_EQ(counts_.all().size(), CallCounts::kMost);
    EXPECT_EQ(counts_.others(), 3U);
    EXPECT_EQ(counts_.all().at({0x0301, 0, 0}).times, 2U);
}

TEST_F(CallCountsTest, AnExpectationIsMetByTheCallAndObjectAlone) {
    counts_.note({0x0301, 0, 2});
    expect(2, 2, seconds(5));
    expect(std::nullopt, 2, seconds(5));
    counts_.note({0x0302, 0, 2});
    counts_.note({0x0301, 1, 2});
    counts_.note({0x0301, 0, 1});
    EXPECT_TRUE(verdicts_.empty());
    counts_.note({0x0301, 0, 2});
    EXPECT_EQ(verdicts_, std::vector<unsigned>{2});
    counts_.note({0x0301, 0, 2});
    EXPECT_EQ(verdicts_, (std::vector<unsigned>{2, 2}));
    clock_.advance(seconds(10));
    EXPECT_EQ(verdicts_.size(), 2U);
}

TEST_F(CallCountsTest, AnExpectationEndsWithItsTime) {
    expect(std::nullopt, 2, seconds(5));
    counts_.note({0x0301, 0, 2});
    clock_.advance(seconds(4));
    EXPECT_TRUE(verdicts_.empty());
    clock_.advance(seconds(1));
    EXPECT_EQ(verdicts_, std::vector<unsigned>{1});
    counts_.note({0x0301, 0, 2});
    EXPECT_EQ(verdicts_.size(), 1U);
}

TEST_F(CallCountsTest, EndAllWaitsAtOnce) {
    expect(std::nullopt, 1, seconds(5));
    expect(1, 1, seconds(5));
    counts_.endWaits();
    EXPECT_EQ(verdicts_, (std::vector<unsigned>{0, 0}));
    clock_.advance(seconds(10));
    EXPECT_EQ(verdicts_.size(), 2U);
}

TEST_F(CallCountsTest, AVerdictMayExpectAgain) {
    counts_.expect({{0x0301, 0}, 2, 1, seconds(5)}, [this](unsigned) { expect(2, 1, seconds(5)); });
    counts_.note({0x0301, 0, 2});
    EXPECT_TRUE(verdicts_.empty());
    counts_.note({0x0301, 0, 2});
    EXPECT_EQ(verdicts_, std::vector<unsigned>{1});
}

}  // namespace
}  // namespace varnock::agent
