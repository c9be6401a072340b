#include <gtest/gtest.h>

#include <fstream>
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

TEST(Main, GoesOnFromASavedState) {
    const varnock::test::TemporaryDirectory directory;
    const std::string state = directory.file("state.json");
    const std::string ctl = std::string(VARNOCK_AGENT_PATH) + " ctl ";
    const std::string fan = "'cabinets[0].fans[2].status'";
    const std::string change = ctl + "set " + fan + " failed --owner test && " + ctl +
                               "fault add 'getFanStatus: silence' && " + ctl + "save " + state;
    const auto saved = agent({"run", "--machine", "typical", "--", "sh", "-c", change.c_str()});
    ASSERT_EQ(saved.status, 0) << saved.err;
    const std::string look = ctl + "get " + fan + " && " + ctl + "get system.status && " + ctl +
                             "--json overrides && " + ctl + "reset --all && " + ctl +
                             "--json fault list && " + ctl + "get system.status";
    const auto loaded = agent(
        {"run", "--load", state.c_str(), "--fault", "all: twice", "--", "sh", "-c", look.c_str()});
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_TRUE(loaded.out.starts_with("value: failed\nvalue: failed\n")) << loaded.out;
    EXPECT_NE(loaded.out.find(R"("owner":"test")"), std::string::npos);
    EXPECT_NE(loaded.out.find(R"({"number":1,"rule":"getFanStatus: silence")"), std::string::npos);
    EXPECT_NE(loaded.out.find(R"({"number":2,"rule":"all: twice")"), std::string::npos);
    EXPECT_TRUE(loaded.out.ends_with("value: ok\n")) << loaded.out;
}

TEST(Main, PlaysAScenarioOnItsMachineOrAnother) {
    const std::string ctl = std::string(VARNOCK_AGENT_PATH) + " ctl ";
    const auto machineOf = [&](Words options) {
        const std::string status = ctl + "status | grep machine";
        options.insert(options.begin(), {"run", "--scenario", "fan-failure"});
        options.insert(options.end(), {"--", "sh", "-c", status.c_str()});
        return agent(options).out;
    };
    EXPECT_EQ(machineOf({}), "machine: typical\n");
    EXPECT_EQ(machineOf({"--machine", "full"}), "machine: full\n");
    EXPECT_EQ(machineOf({"--host"}), "machine: host\n");
    const auto unknown = agent({"run", "--scenario", "fan", "--", "true"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("no scenario is named fan; there are:"), std::string::npos);
}

TEST(Main, WaitsForAnExpectedCall) {
    const std::string ctl = std::string(VARNOCK_AGENT_PATH) + " ctl ";
    const std::string late = ctl + "expect getFanStatus --within 1ms";
    const auto process = agent({"run", "--", "sh", "-c", late.c_str()});
    EXPECT_EQ(process.status, 1);
    EXPECT_NE(process.err.find("getFanStatus was asked 0 of 1 times within 1ms"),
              std::string::npos);
}

TEST(Main, ChecksScenarios) {
    const varnock::test::TemporaryDirectory directory;
    const std::string file = directory.file("s.json");
    std::ofstream(file) << R"({"name": "test", "steps": [{"at": "1 s", "end": true}]})";
    EXPECT_EQ(agent({"check", file.c_str()}).status, 0);
    std::ofstream(file) << R"({"name": "test", "steps": [{"at": "1 s", "end": 1}]})";
    const auto wrong = agent({"check", file.c_str()});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_NE(wrong.err.find(file + ":1:49: steps[0].end: expected true, found 1"),
              std::string::npos)
        << wrong.err;
}

TEST(Main, SaysWhatASavedStateLacks) {
    const varnock::test::TemporaryDirectory directory;
    const std::string state = directory.file("state.json");
    const auto faultOf = [&](const std::string& overrides) {
        std::ofstream(state) << R"({"machine": {"cabinets": []}, "elapsed": 0, "scans": [],
            "lastScan": 0, "overrides": [)"
                             << overrides << "]}";
        const auto process = agent({"run", "--load", state.c_str(), "--", "true"});
        EXPECT_EQ(process.status, 1);
        return untraced(process.err);
    };
    EXPECT_NE(faultOf("5").find("expected the member \"path\""), std::string::npos);
    EXPECT_NE(faultOf(R"({"path": "system.nam", "value": 1, "owner": ""})")
                  .find("no machine has system.nam"),
              std::string::npos);
    EXPECT_EQ(agent({"run", "--load", "x", "--machine", "typical", "--", "true"}).status, 2);
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
