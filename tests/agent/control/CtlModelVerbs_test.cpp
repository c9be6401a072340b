#include "agent/control/CtlModelVerbs.h"

#include <gtest/gtest.h>

#include "agent/CommandLine.h"

namespace varnock::agent {
namespace {

/// The request of a `ctl` line; the message about a mistake.
std::string valueRequest(std::vector<std::string> words) {
    words.insert(words.begin(), {"ctl", "--socket", "/s"});
    CommandLine line;
    const auto explanation = parseCommandLine(words, line);
    return explanation ? explanation->text : line.request;
}

TEST(CtlModelVerbs, OfValues) {
    EXPECT_EQ(valueRequest({"get", "system.name"}), R"({"verb":"get","path":"system.name"})");
    EXPECT_EQ(valueRequest({"set", "system.name", "n"}),
              R"({"verb":"set","path":"system.name","value":"n"})");
    EXPECT_EQ(valueRequest({"set", "system.name", "n", "--for", "30s", "--owner", "me"}),
              R"({"verb":"set","path":"system.name","value":"n","for":"30s","owner":"me"})");
    EXPECT_EQ(valueRequest({"list"}), R"({"verb":"list","path":""})");
    EXPECT_EQ(valueRequest({"list", "system"}), R"({"verb":"list","path":"system"})");
}

TEST(CtlModelVerbs, OfOverrides) {
    EXPECT_EQ(valueRequest({"overrides"}), R"({"verb":"overrides"})");
    EXPECT_EQ(valueRequest({"reset", "system.name"}), R"({"verb":"reset","path":"system.name"})");
    EXPECT_EQ(valueRequest({"reset", "--all"}), R"({"verb":"reset","all":true})");
    EXPECT_EQ(valueRequest({"reset"}), "reset needs the path of a value, or --all");
    EXPECT_NE(valueRequest({"reset", "system.name", "--all"}).find("excludes"), std::string::npos);
}

TEST(CtlModelVerbs, OfTheStateAndTheLog) {
    EXPECT_EQ(valueRequest({"save", "/f"}), R"({"verb":"save","file":"/f"})");
    EXPECT_EQ(valueRequest({"log", "t"}),
              R"({"verb":"log","text":"t","severity":"information","number":0,"cabinet":0})");
    EXPECT_EQ(valueRequest({"log", "t", "--severity", "error", "--number", "5", "--cabinet", "2"}),
              R"({"verb":"log","text":"t","severity":"error","number":5,"cabinet":2})");
    EXPECT_EQ(valueRequest({"log", "t", "--number", "x"}),
              "\"x\" is not a number from 0 to 4294967295");
}

}  // namespace
}  // namespace varnock::agent
