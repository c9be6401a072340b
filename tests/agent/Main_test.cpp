#include <gtest/gtest.h>

#include "tests/agent/Processes.h"

namespace varnock::agent::test {
namespace {

varnock::test::ProcessResult agent(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VARNOCK_AGENT_PATH);
    return varnock::test::runProcess(arguments);
}

TEST(Main, TellsItsVersion) {
    const auto process = agent({"--version"});
    EXPECT_EQ(process.status, 0);
    EXPECT_EQ(process.out, "varnock-agent " VARNOCK_AGENT_VERSION "\n");
}

TEST(Main, HelpsWithEveryCommand) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--help"}, {"serve", "--help"}, {"run", "--help"}}) {
        const auto process = agent(words);
        EXPECT_EQ(process.status, 0);
        EXPECT_NE(process.out.find("Usage: varnock-agent"), std::string::npos);
    }
}

TEST(Main, RefusesWrongUsage) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{},
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
                                                  {"--", "true"}}) {
        const auto process = agent(words);
        EXPECT_EQ(process.status, 2) << (words.empty() ? "" : words.back());
        EXPECT_NE(untraced(process.err), "");
        EXPECT_EQ(process.out, "");
    }
}

}  // namespace
}  // namespace varnock::agent::test
