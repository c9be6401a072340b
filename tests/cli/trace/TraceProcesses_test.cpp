#include "cli/trace/TraceProcesses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace varnockctl {
namespace {

using testing::ElementsAre;

std::vector<std::optional<pid_t>> processes(const std::vector<std::string>& messages) {
    TraceProcesses named;
    for (const std::string& message : messages) {
        named.add(message);
    }
    std::vector<std::optional<pid_t>> all;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        all.push_back(named.of(i));
    }
    return all;
}

constexpr const char* kCycle = "### Start of work cycle. (00000002) ###";
constexpr const char* kEnd = "# End of header.";

std::string process(int number) {
    return "Process PID                : " + std::to_string(number);
}

TEST(TraceProcesses, TheDescriptionOfANewFileNamesTheProcess) {
    EXPECT_THAT(processes({"Varnock Agent", process(7), kEnd, kCycle, "x"}),
                ElementsAre(7, 7, 7, 7, 7));
}

TEST(TraceProcesses, AProcessThatTakesAFileOverNamesItselfBehindItsWorkCycle) {
    EXPECT_THAT(processes({process(7), kEnd, kCycle, "x", kCycle, process(8), "y"}),
                ElementsAre(7, 7, 7, 7, 8, 8, 8));
    EXPECT_THAT(processes({process(7), kEnd, kCycle, process(8)}), ElementsAre(7, 7, 8, 8));
}

TEST(TraceProcesses, AProcessThatDoesNotNameItselfIsUnknownUntilItsNextDescription) {
    EXPECT_THAT(processes({process(7), kEnd, kCycle, "x", kCycle, "y"}),
                ElementsAre(7, 7, 7, 7, std::nullopt, std::nullopt));
    EXPECT_THAT(processes({process(7), "x", kCycle, "y", "Varnock Agent", process(8), kEnd, "z"}),
                ElementsAre(7, 7, 8, 8, 8, 8, 8, 8));
}

TEST(TraceProcesses, EntriesOfAnOlderRoundBelongToTheProcessDescribedAfterThem) {
    EXPECT_THAT(processes({"x", "y", "Varnock Agent", process(8), kEnd, "z", kCycle}),
                ElementsAre(8, 8, 8, 8, 8, 8, std::nullopt));
    EXPECT_THAT(processes({"x", kCycle, "y", process(8), "z", process(9), "!"}),
                ElementsAre(std::nullopt, 8, 8, 8, 8, 9, 9));
}

TEST(TraceProcesses, WhatOnlyLooksLikeItNamesNoProcess) {
    EXPECT_THAT(processes({process(7) + "x", "Process PID                : ", "Process PID: 7"}),
                ElementsAre(std::nullopt, std::nullopt, std::nullopt));
    EXPECT_THAT(processes({}), ElementsAre());
}

}  // namespace
}  // namespace varnockctl
