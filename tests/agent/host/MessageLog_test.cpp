#include "agent/host/MessageLog.h"

#include <gtest/gtest.h>

#include "tests/agent/host/FakeJournal.h"
#include "tests/agent/host/KernelLogPipe.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

TEST(MessageLog, PrefersTheJournal) {
    const varnock::test::TemporaryDirectory root;
    const KernelLogPipe kernel(root.path());
    kernel.write("6,1,0,-;of the kernel\n");
    MessageLog log(root.path());
    {
        FakeJournal journal;
        journal.entries.push_back({0, {{"MESSAGE", "of the journal"}}});
        EXPECT_EQ(log.read(0)->front().text, "of the journal");
        EXPECT_FALSE(log.isOfKernel());
    }
    EXPECT_EQ(log.read(0)->front().text, "of the kernel");
    EXPECT_TRUE(log.isOfKernel());
}

std::vector<unsigned> numbersOf(const std::optional<LogEntries>& entries) {
    std::vector<unsigned> numbers;
    for (const LogEntry& entry : entries.value_or(LogEntries())) {
        numbers.push_back(entry.sequence);
    }
    return numbers;
}

TEST(MessageLog, KeepsTheNumbersOfTheEntries) {
    const varnock::test::TemporaryDirectory root;
    MessageLog log(root.path());
    EXPECT_FALSE(log.read(0));
    FakeJournal journal;
    for (const char* text : {"a", "b", "b"}) {
        journal.entries.push_back({0, {{"MESSAGE", text}}});
    }
    using Numbers = std::vector<unsigned>;
    EXPECT_EQ(numbersOf(log.read(0)), (Numbers{1, 2, 3}));
    EXPECT_EQ(numbersOf(log.read(0)), (Numbers{1, 2, 3}));
    journal.entries.erase(journal.entries.begin());
    journal.entries.push_back({0, {{"MESSAGE", "c"}}});
    EXPECT_EQ(numbersOf(log.read(0)), (Numbers{2, 3, 4}));
    journal.entries = {{9, {{"MESSAGE", "all are new"}}}, {9, {{"MESSAGE", "d"}}}};
    EXPECT_EQ(numbersOf(log.read(0)), (Numbers{5, 6}));
    journal.entries.insert(journal.entries.begin(), 9, {1, {{"MESSAGE", "older"}}});
    EXPECT_EQ(numbersOf(log.read(0)).front(), 1U) << "no number is below 1";
}

}  // namespace
}  // namespace varnock::agent
