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
using Processes = std::vector<std::optional<pid_t>>;

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
    Processes processes(const std::vector<std::string>& messages) {
        return processesOf(entries(messages));
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
                lists[i].push_back({&entry, i, static_cast<pid_t>(i)});
            }
        }
        std::vector<std::string> found;
        for (const MergedEntry& entry : mergedByTime(lists, 1'700'000'000)) {
            EXPECT_EQ(static_cast<std::size_t>(*entry.process), entry.source);
            found.emplace_back(entry.entry->message);
        }
        return found;
    }

    std::deque<std::string> texts_;
};

constexpr const char* kCycle = "### Start of work cycle. (00000002) ###";
constexpr const char* kEnd = "# End of header.";

std::string process(int number) {
    return "Process PID                : " + std::to_string(number);
}

TEST_F(TraceMerge, TheDescriptionOfANewFileNamesTheProcess) {
    EXPECT_THAT(processes({"Varnock Agent", process(7), kEnd, kCycle, "x"}),
                ElementsAre(7, 7, 7, 7, 7));
}

TEST_F(TraceMerge, AProcessThatTakesAFileOverNamesItselfBehindItsWorkCycle) {
    EXPECT_THAT(processes({process(7), kEnd, kCycle, "x", kCycle, process(8), "y"}),
                ElementsAre(7, 7, 7, 7, 8, 8, 8));
    EXPECT_THAT(processes({process(7), kEnd, kCycle, process(8)}), ElementsAre(7, 7, 8, 8));
}

TEST_F(TraceMerge, AProcessThatDoesNotNameItselfIsUnknownUntilItsNextDescription) {
    EXPECT_THAT(processes({process(7), kEnd, kCycle, "x", kCycle, "y"}),
                ElementsAre(7, 7, 7, 7, std::nullopt, std::nullopt));
    EXPECT_THAT(processes({process(7), "x", kCycle, "y", "Varnock Agent", process(8), kEnd, "z"}),
                ElementsAre(7, 7, 8, 8, 8, 8, 8, 8));
}

TEST_F(TraceMerge, EntriesOfAnOlderRoundBelongToTheProcessDescribedAfterThem) {
    EXPECT_THAT(processes({"x", "y", "Varnock Agent", process(8), kEnd, "z", kCycle}),
                ElementsAre(8, 8, 8, 8, 8, 8, std::nullopt));
    EXPECT_THAT(processes({"x", kCycle, "y", process(8), "z", process(9), "!"}),
                ElementsAre(std::nullopt, 8, 8, 8, 8, 9, 9));
}

TEST_F(TraceMerge, WhatOnlyLooksLikeItNamesNoProcess) {
    EXPECT_THAT(processes({process(7) + "x", "Process PID                : ", "Process PID: 7"}),
                ElementsAre(std::nullopt, std::nullopt, std::nullopt));
    EXPECT_THAT(processes({}), ElementsAre());
}

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
