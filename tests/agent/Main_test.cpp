#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/agent/Processes.h"

namespace varnock::agent::test {
namespace {

using Words = std::vector<const char*>;

varnock::test::ProcessResult agent(const Words& arguments) {
    std::vector<std::string> command = {"env", "-u", "QX_RAGD_SOCKET_DIR", VARNOCK_AGENT_PATH};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return varnock::test::runProcess(command);
}

TEST(Main, TellsItsVersion) {
    const auto process = agent({"--version"});
    EXPECT_EQ(process.status, 0);
    EXPECT_EQ(process.out, "varnock-agent 7.00-10\n");
}

TEST(Main, HelpsWithEveryCommand) {
    for (const Words& words : {Words{"--help"},
                               {"serve", "--help"},
                               {"run", "--help"},
                               {"ctl", "--help"},
                               {"ctl", "event", "--help"}}) {
        const auto process = agent(words);
        EXPECT_EQ(process.status, 0);
        EXPECT_NE(process.out.find("Usage: varnock-agent"), std::string::npos);
    }
}

TEST(Main, DescribesOptionsInLowerCaseWithoutAFullStop) {
    constexpr std::size_t kDescriptionColumn = 30;
    for (const Words& words : {Words{"--help"},
                               {"serve", "--help"},
                               {"run", "--help"},
                               {"ctl", "--help"},
                               {"ctl", "event", "--help"}}) {
        int described = 0;
        std::istringstream help(agent(words).out);
        for (std::string line; std::getline(help, line);) {
            if (!line.starts_with("  ") || line.size() <= kDescriptionColumn) {
                continue;
            }
            const char first = line[kDescriptionColumn];
            EXPECT_FALSE(first >= 'A' && first <= 'Z') << line;
            EXPECT_FALSE(line.ends_with('.') && !line.ends_with("...")) << line;
            ++described;
        }
        EXPECT_GT(described, 1);
    }
}

TEST(Main, RefusesWrongUsage) {
    for (const Words& words : {Words{},
                               {"other"},
                               {"serve", "--mode", "999"},
                               {"serve", "--mode", ""},
                               {"serve", "--mode", "1777"},
                               {"serve", "extra"},
                               {"serve", "--", "true"},
                               {"run"},
                               {"run", "--"},
                               {"run", "true"},
                               {"serve", "--keep"},
                               {"ctl"},
                               {"ctl", "dance"},
                               {"ctl", "event"},
                               {"ctl", "event", "someLog"},
                               {"ctl", "event", "1", "many"},
                               {"ctl", "event", "1", "2", "--text", "x"},
                               {"serve", "--host"},
                               {"serve", "--dir", ""},
                               {"serve", "--dir", "/tmp", "--production"},
                               {"run", "--production", "--", "true"},
                               {"ctl", "status"},
                               {"ctl", "event", "1"},
                               {"ctl", "--dir", "/tmp", "--production", "status"},
                               {"ctl", "--socket", "/tmp/x", "--production", "status"},
                               {"ctl", "--dir", "/tmp", "--socket", "/tmp/x", "status"},
                               {"ctl", "status", "--", "true"},
                               {"--", "true"}}) {
        const auto process = agent(words);
        EXPECT_EQ(process.status, 2) << (words.empty() ? "" : words.back());
        EXPECT_NE(untraced(process.err), "");
        EXPECT_EQ(process.out, "");
    }
}

TEST(Main, AsksForThePlaceOfTheSockets) {
    for (const Words& words : {Words{"serve"}, {"ctl", "status"}}) {
        const auto process = agent(words);
        EXPECT_EQ(process.status, 2);
        EXPECT_EQ(untraced(process.err),
                  "varnock-agent: " + std::string(words[0]) +
                      " needs --dir DIR for the directory of the sockets, or --production for "
                      "/dev\nRun with --help for more information.\n");
    }
}

}  // namespace
}  // namespace varnock::agent::test
