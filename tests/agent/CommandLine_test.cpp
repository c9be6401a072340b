#include "agent/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnock::agent {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(AgentCommandLine, OfServe) {
    CommandLine line;
    EXPECT_FALSE(parseCommandLine({"serve", "--dir", "/sockets", "--mode", "660"}, line));
    EXPECT_EQ(line.task, CommandLine::Task::serve);
    EXPECT_EQ(line.directory, "/sockets");
    EXPECT_EQ(line.mode, 0660U);
}

TEST(AgentCommandLine, OfTheLayers) {
    CommandLine line;
    EXPECT_FALSE(parseCommandLine(
        {"serve", "--dir", "/s", "--fault", "all: silence", "--fault", "all: twice", "--seed", "9",
         "--clock", "virtual", "--transcript", "/t", "--ready-fd", "5"},
        line));
    EXPECT_THAT(line.faults, ElementsAre("all: silence", "all: twice"));
    EXPECT_EQ(line.seed, 9U);
    EXPECT_EQ(line.clock, AgentClock::Kind::isVirtual);
    EXPECT_EQ(line.transcript, "/t");
    EXPECT_EQ(line.readyFd, 5);
    EXPECT_TRUE(parseCommandLine({"serve", "--dir", "/s", "--clock", "slow"}, line));
    EXPECT_TRUE(parseCommandLine({"serve", "--dir", "/s", "--ready-fd", "-1"}, line));
}

TEST(AgentCommandLine, OfAScenario) {
    CommandLine line;
    EXPECT_FALSE(parseCommandLine({"serve", "--dir", "/s", "--scenario", "fan-failure"}, line));
    EXPECT_EQ(line.scenario, "fan-failure");
    EXPECT_FALSE(line.host);
    EXPECT_FALSE(parseCommandLine({"run", "--host", "--scenario", "./s.json", "--", "true"}, line));
    EXPECT_EQ(line.scenario, "./s.json");
    EXPECT_TRUE(line.host);
}

TEST(AgentCommandLine, OnlyAnExpectationWaitsForTheAgentsDecision) {
    CommandLine line;
    EXPECT_FALSE(parseCommandLine({"ctl", "calls", "--dir", "/s"}, line));
    EXPECT_FALSE(line.waits);
    EXPECT_FALSE(
        parseCommandLine({"ctl", "expect", "getFanStatus", "--within", "1s", "--dir", "/s"}, line));
    EXPECT_TRUE(line.waits);
}

TEST(AgentCommandLine, OfRunKeepsTheOptionsOfTheCommand) {
    CommandLine line;
    EXPECT_FALSE(parseCommandLine({"run", "--keep", "--", "program", "--mode", "--"}, line));
    EXPECT_EQ(line.task, CommandLine::Task::run);
    EXPECT_TRUE(line.keep);
    EXPECT_EQ(line.directory, "");
    EXPECT_THAT(line.words, ElementsAre("program", "--mode", "--"));
}

TEST(AgentCommandLine, OfCtlNamesTheControlSocket) {
    CommandLine line;
    EXPECT_FALSE(parseCommandLine({"ctl", "status", "--dir", "/sockets"}, line));
    EXPECT_EQ(line.task, CommandLine::Task::control);
    EXPECT_EQ(line.control, "/sockets/ragdctl");
    EXPECT_FALSE(parseCommandLine({"ctl", "event", "0x0B11", "7", "--socket", "/s"}, line));
    EXPECT_EQ(line.task, CommandLine::Task::control);
    EXPECT_EQ(line.control, "/s");
    EXPECT_THAT(line.request, HasSubstr(R"("name":"0x0B11","number":7)"));
    EXPECT_FALSE(line.json);
    EXPECT_FALSE(parseCommandLine({"ctl", "status", "--json", "--socket", "/s"}, line));
    EXPECT_TRUE(line.json);
}

TEST(AgentCommandLine, ExplainsHelpAndMistakes) {
    CommandLine line;
    const auto help = parseCommandLine({"--help"}, line);
    ASSERT_TRUE(help);
    EXPECT_FALSE(help->isMistake);
    EXPECT_THAT(help->text, HasSubstr("serve"));
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"run"},
                                               {"serve", "--dir", "/d", "--", "program"},
                                               {"serve", "--dir", "/d", "--mode", "1777"},
                                               {"ctl", "--socket", "/s"}}) {
        const auto mistake = parseCommandLine(arguments, line);
        ASSERT_TRUE(mistake);
        EXPECT_TRUE(mistake->isMistake);
    }
}

}  // namespace
}  // namespace varnock::agent
