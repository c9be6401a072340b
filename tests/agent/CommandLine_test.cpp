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
    EXPECT_EQ(line.task, CommandLine::Task::status);
    EXPECT_EQ(line.control, "/sockets/ragdctl");
    EXPECT_FALSE(parseCommandLine({"ctl", "event", "0x0B11", "7", "--socket", "/s"}, line));
    EXPECT_EQ(line.task, CommandLine::Task::event);
    EXPECT_EQ(line.control, "/s");
    EXPECT_EQ(line.event.event, "0x0B11");
    EXPECT_EQ(line.event.number, "7");
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
