#include "cli/trace/TraceMerge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "cli/trace/TraceTime.h"

namespace varnockctl {
namespace {

using testing::ElementsAre;

class TraceMerge : public testing::Test {
  protected:
    TraceMerge() {
        setenv("TZ", "UTC0", 1);
        tzset();
    }

    std::vector<TraceEntry> entries(const std::vector<std::string>& messages,
                                    const std::vector<std::string>& times = {}) {
        std::vector<TraceEntry> made;
        for (std::size_t i = 0; i < messages.size(); ++i) {
            const std::string time = i < times.size() ? times[i] : "Nov 14 22:13:20";
            texts_.push_back(time + " host App[00000000F7A51740]: " + messages[i]);
            made.push_back(parseTraceEntry(texts_.back()).value());
        }
        return made;
    }
    /// The messages of lists whose entries are given as "SS text", or "- text" without a time.
    std::vector<std::string> merged(const std::vector<std::vector<std::string>>& given) {
        std::vector<std::vector<MergedEntry>> lists(given.size());
        std::deque<std::vector<TraceEntry>> logs;
        for (std::size_t i = 0; i < given.size(); ++i) {
            std::vector<std::string> messages;
            std::vector<std::string> times;
            for (const std::string& entry : given[i]) {
                messages.push_back(entry.substr(entry.find(' ') + 1));
                times.push_back(entry[0] == '-' ? "mmm dd hh:mm:ss"
                                                : "Nov 14 22:13:" + entry.substr(0, 2));
            }
            logs.push_back(entries(messages, times));
            for (const TraceEntry& entry : logs.back()) {
                lists[i].push_back({&entry, i});
            }
        }
        std::vector<std::string> found;
        for (const MergedEntry& entry : mergedByTime(lists, 1'700'000'000)) {
            EXPECT_EQ(entry.entry >= logs[entry.source].data() &&
                          entry.entry < logs[entry.source].data() + logs[entry.source].size(),
                      true);
            found.emplace_back(entry.entry->message);
        }
        return found;
    }

    std::deque<std::string> texts_;
};

TEST_F(TraceMerge, OrdersByTimeAndWithinASecondByFile) {
    EXPECT_THAT(merged({{"10 a", "12 b", "12 c"}, {"09 d", "12 e", "13 f"}, {"12 g"}}),
                ElementsAre("d", "a", "b", "c", "e", "g", "f"));
    EXPECT_THAT(merged({}), ElementsAre());
    EXPECT_THAT(merged({{}, {"10 a"}, {}}), ElementsAre("a"));
}

TEST_F(TraceMerge, KeepsTheOrderOfAFileWhoseClockWasSetBack) {
    EXPECT_THAT(merged({{"20 a", "05 b", "21 c"}, {"10 d", "20 e", "22 f"}}),
                ElementsAre("d", "a", "b", "e", "c", "f"));
}

TEST_F(TraceMerge, LeavesAnEntryWithoutATimeBehindTheOneBeforeIt) {
    EXPECT_THAT(merged({{"- first", "20 a", "- b"}, {"10 d", "20 e"}}),
                ElementsAre("first", "d", "a", "b", "e"));
}

}  // namespace
}  // namespace varnockctl
