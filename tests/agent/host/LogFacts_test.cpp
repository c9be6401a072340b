#include <gtest/gtest.h>

#include "tests/agent/host/FakeJournal.h"
#include "tests/agent/host/HostQuestions.h"
#include "tests/agent/host/KernelLogPipe.h"

namespace varnock::agent {
namespace {

using LogAnswers = RecordedHost;

TEST_F(LogAnswers, HasNoneIfNoLogCanBeRead) {
    for (const unsigned opcode : {0x0B01U, 0x0B0CU, 0x0B10U, 0x0B13U, 0x0B20U}) {
        expectNegative(ask(machine_, opcode));
    }
    expectNegative(ask(machine_, kConfiguration, 0x0007));
    expectNegative(ask(machine_, kConfiguration, 0x000E));
}

TEST_F(LogAnswers, AnswersOfTheJournal) {
    FakeJournal journal;
    journal.entries = {{0x01020304 * 1000000ULL, {{"MESSAGE", "ab"}, {"PRIORITY", "3"}}},
                       {0, {{"MESSAGE", "c"}, {"PRIORITY", "4"}}}};
    EXPECT_EQ(number(ask(machine_, 0x0B01, 0, 1)), 1U);
    EXPECT_EQ(number(ask(machine_, 0x0B0C, 0, 1)), 512U);
    EXPECT_EQ(number(ask(machine_, 0x0B13)), 2U);
    const Answer::Bytes first = {18, 0, 1, 0, 0, 0, 0, 0, 0, 0, 4, 3, 2, 1, 3, 'a', 'b', 0};
    const Answer::Bytes second = {17, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 'c', 0};
    Answer::Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(bytes(ask(machine_, 0x0B10)), both);
    EXPECT_EQ(bytes(ask(machine_, 0x0B10, 5, 1)), both);
    EXPECT_EQ(bytes(ask(machine_, 0x0B10, 5, 2)), second);
    EXPECT_EQ(bytes(ask(machine_, 0x0B10, 0, 3)), Answer::Bytes());
    EXPECT_EQ(bytes(ask(machine_, 0x0B10, 0, 0xFFFFFFFF)), Answer::Bytes());
    EXPECT_EQ(number(ask(machine_, kConfiguration, 0x0007)), 0U);
    expectNegative(ask(machine_, 0x0B20));
    expectNegative(ask(machine_, kConfiguration, 0x000E));
}

TEST_F(LogAnswers, KnowsTheLanguageOfTheKernel) {
    const KernelLogPipe kernel(root_.path());
    kernel.write("6,7,1000000,-;up\n");
    const Answer::Bytes english = {9, 0};
    EXPECT_EQ(bytes(ask(machine_, 0x0B20)), english);
    EXPECT_EQ(number(ask(machine_, kConfiguration, 0x000E)), 9U);
}

TEST_F(LogAnswers, GivesALogInParts) {
    FakeJournal journal;
    for (char letter = 'a'; letter < 'm'; ++letter) {
        journal.entries.push_back({0, {{"MESSAGE", std::string(9000, letter)}}});
    }
    const auto first = bytes(ask(machine_, 0x0B10));
    ASSERT_TRUE(first);
    constexpr std::size_t kEntry = 15 + 4096 + 1;
    EXPECT_EQ(first->size() % kEntry, 0U) << "long texts are cut";
    const auto taken = static_cast<unsigned>(first->size() / kEntry);
    EXPECT_LT(taken, 12U);
    journal.entries.erase(journal.entries.begin());
    const auto rest = bytes(ask(machine_, 0x0B10, 0, taken + 1));
    ASSERT_TRUE(rest);
    EXPECT_EQ((*rest)[2], taken + 1);
    EXPECT_EQ((*rest)[15], static_cast<unsigned char>('a' + taken));
}

}  // namespace
}  // namespace varnock::agent
