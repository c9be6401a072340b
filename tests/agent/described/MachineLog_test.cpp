#include "agent/described/MachineLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

class Log : public testing::Test {
  protected:
    Log() {
        log_.listen(
            [this](unsigned number, unsigned cabinet) { events_.emplace_back(number, cabinet); });
    }
    std::string get(const std::string& member) {
        return model_.get("cabinets[0].messageLog." + member);
    }

    MachineModel model_{json(R"({"cabinets": [{"number": 4, "messageLog": {"capacity": 2,
        "stopsWhenFull": false, "entries": [{"number": 7, "text": "first"}]}}, {"number": 5},
        {"number": 6, "messageLog": {"capacity": 0, "entries": []}}]})"),
                        [] {
                            return Moment{60, 0};
                        }};
    MachineLog log_{model_};
    std::vector<std::pair<unsigned, unsigned>> events_;
};

TEST_F(Log, AFullOneLosesItsOldestEntry) {
    EXPECT_TRUE(log_.append(0, {1, Severity::warning, "second"}));
    EXPECT_TRUE(log_.appendTo(4, {2, Severity::error, "third"}));
    EXPECT_EQ(get("entries.count"), "2");
    EXPECT_EQ(get("entries[0].text"), "\"second\"");
    EXPECT_EQ(get("entries[1].number"), "9");
    EXPECT_THAT(events_, ElementsAre(Pair(8, 4), Pair(9, 4)));
}

TEST_F(Log, AFullOneMayStop) {
    EXPECT_TRUE(log_.append(0, {1, Severity::warning, "second"}));
    model_.set("cabinets[0].messageLog.stopsWhenFull", "true", "test", std::nullopt);
    EXPECT_FALSE(log_.append(0, {1, Severity::warning, "third"}));
    EXPECT_EQ(get("entries[1].text"), "\"second\"");
    EXPECT_EQ(events_.size(), 1U);
}

TEST_F(Log, MayBeMissing) {
    EXPECT_FALSE(log_.append(1, {1, Severity::warning, "x"}));
    EXPECT_FALSE(log_.append(2, {1, Severity::warning, "x"}));
    EXPECT_FALSE(log_.append(3, {1, Severity::warning, "x"}));
    EXPECT_FALSE(log_.appendTo(9, {1, Severity::warning, "x"}));
}

TEST_F(Log, NeedsNoListener) {
    log_.listen(nullptr);
    EXPECT_TRUE(log_.append(0, {1, Severity::warning, "second"}));
}

}  // namespace
}  // namespace varnock::agent::test
