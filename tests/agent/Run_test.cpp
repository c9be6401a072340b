#include "agent/Run.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/agent/AgentFixture.h"
#include "tests/agent/Processes.h"
#include "tests/support/Nobody.h"
#include "tests/support/TextFile.h"

namespace varnock::agent::test {
namespace {

using varnock::test::ProcessResult;
using varnock::test::runProcess;
using varnock::test::Subprocess;

class Run : public testing::Test {
  protected:
    /// Private directories are created here, so that the test can check what is left of them.
    Run() {
        std::filesystem::create_directories(parent());
        setenv("TMPDIR", parent().c_str(), 1);
    }
    std::string parent() const { return directory_.file("t"); }

    static std::vector<std::string> line(const std::vector<std::string>& words,
                                         const std::vector<std::string>& options = {}) {
        std::vector<std::string> all = {VARNOCK_AGENT_PATH, "run"};
        all.insert(all.end(), options.begin(), options.end());
        all.emplace_back("--");
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }
    static ProcessResult run(const std::vector<std::string>& words,
                             const std::vector<std::string>& options = {},
                             const Subprocess::Environment& environment = {}) {
        return runProcess(line(words, options), environment);
    }
    static ProcessResult shell(const std::string& script,
                               const Subprocess::Environment& environment = {}) {
        return run({"sh", "-c", script}, {}, environment);
    }
    bool nothingLeft() const { return std::filesystem::is_empty(parent()); }

    varnock::test::TemporaryDirectory directory_;
};

TEST_F(Run, ExitsWithTheStatusOfTheCommand) {
    for (const int status : {0, 1, 7, 255}) {
        EXPECT_EQ(shell("exit " + std::to_string(status)).status, status);
        EXPECT_TRUE(nothingLeft());
    }
}

/// The options that choose a machine.
class ManyRuns : public Run, public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(ManyRuns, AtOnceAndWithoutPrivilegesLeaveNothing) {
    SKIP_IF_NOT_RUN_WITHOUT_PRIVILEGES(VARNOCK_AGENT_PATH);
    varnock::test::giveToUnprivileged(directory_.path());
    varnock::test::giveToUnprivileged(parent());
    Inherited inherited;
    std::vector<std::unique_ptr<Subprocess>> all;
    for (int i = 0; i < 10; ++i) {
        all.push_back(std::make_unique<Subprocess>(varnock::test::withoutPrivileges(line(
            {"sh", "-c", "id -u; \"$0\" ctl status --json", VARNOCK_AGENT_PATH}, GetParam()))));
    }
    for (const auto& each : all) {
        EXPECT_EQ(each->wait().status, 0) << each->wait().err;
        EXPECT_FALSE(each->wait().out.starts_with("0\n"));
        EXPECT_NE(each->wait().out.find(R"("ok":true)"), std::string::npos);
    }
    inherited.waitForAll();
    EXPECT_TRUE(nothingLeft());
}

INSTANTIATE_TEST_SUITE_P(Of, ManyRuns,
                         testing::Values(std::vector<std::string>{"--host"},
                                         std::vector<std::string>{"--machine", "full"}),
                         [](const auto& machine) {
                             return machine.param.back().substr(
                                 machine.param.back().find_first_not_of('-'));
                         });

TEST_F(Run, HasTheFaultsAskedFor) {
    const auto process = run({"sh", "-c", "\"$0\" ctl fault list", VARNOCK_AGENT_PATH},
                             {"--fault", "getNumberFans: status 25"});
    EXPECT_EQ(process.status, 0) << process.err;
    EXPECT_EQ(process.out,
              "number  rule                      seen  hits  remaining\n"
              "1       getNumberFans: status 25  0     0     unlimited\n");
}

TEST_F(Run, EndsWithAStatusOfItsOwnIfItsScenarioFails) {
    const std::string scenario = directory_.file("s.json");
    varnock::test::writeFile(scenario, R"({"name": "test", "steps": [
        {"at": "0 s", "expect": {"call": "getNumberCPUs", "within": "1 h"}},
        {"at": "2 h", "end": true}]})");
    const auto played = [&](const std::string& script) {
        return run({"sh", "-c", script, VARNOCK_AGENT_PATH}, {"--scenario", scenario});
    };
    const std::string begun = "until \"$0\" ctl status | grep -q 'steps done: 1'; do :; done; ";
    const auto failed = played(begun);
    EXPECT_EQ(failed.status, 3);
    EXPECT_NE(failed.err.find("scenario test: at 0 s: expect: getNumberCPUs was asked 0 of 1"),
              std::string::npos)
        << failed.err;
    EXPECT_EQ(played(begun + "exit 7").status, 7);
    EXPECT_TRUE(nothingLeft());
}

TEST_F(Run, TellsTheSignalThatEndedTheCommand) {
    EXPECT_EQ(shell("kill -9 $$").status, 128 + SIGKILL);
    EXPECT_TRUE(nothingLeft());
}

TEST_F(Run, TellsWhyACommandCannotBeRun) {
    const auto missing = run({"no-such-command"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(untraced(missing.err), "varnock-agent: no-such-command: No such file or directory\n");
    const std::string below = parent() + "/file/command";
    std::ofstream(parent() + "/file") << "no directory";
    EXPECT_EQ(run({below}).status, 127);
    std::filesystem::remove(parent() + "/file");
    const auto denied = run({directory_.path()});
    EXPECT_EQ(denied.status, 126);
    EXPECT_EQ(untraced(denied.err),
              "varnock-agent: " + directory_.path().string() + ": Permission denied\n");
    EXPECT_TRUE(nothingLeft());
}

TEST_F(Run, PassesTheWordsOfTheCommandOnUntouched) {
    const auto process = run({"printf", "%s|", "--dir", "-x", "", "[a]", "--", "serve"});
    EXPECT_EQ(process.status, 0);
    EXPECT_EQ(process.out, "--dir|-x||[a]|--|serve|");
}

TEST_F(Run, ShowsTheCommandItsSocketsAndARegistry) {
    unsetenv("QX_SYSTEM_DIR");
    const auto process = shell(
        "test -S $QX_RAGD_SOCKET_DIR/ragdsj && test -S $QX_RAGD_SOCKET_DIR/ragdaj && "
        "cat $QX_SYSTEM_DIR/registry");
    EXPECT_EQ(process.status, 0);
    EXPECT_EQ(process.out, "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n");
}

TEST_F(Run, SetsTheTraceApartUnlessTheUserHas) {
    for (const char* name : {"QX_SYSTEM_DIR", "QX_LOG_RINGBUF_DIR", "QX_LOG_RINGBUF_WEIGHT",
                             "QX_LOG_NOHDR_TOSDTERR", "QX_LOG_RINGBUF_PER_PROCESS"}) {
        unsetenv(name);
    }
    const auto process = shell(
        "echo $QX_LOG_RINGBUF_WEIGHT $QX_LOG_NOHDR_TOSDTERR $QX_LOG_RINGBUF_PER_PROCESS; test -d "
        "$QX_LOG_RINGBUF_DIR && "
        "test $QX_LOG_RINGBUF_DIR = $QX_RAGD_SOCKET_DIR/trace");
    EXPECT_EQ(process.status, 0);
    EXPECT_EQ(process.out, "1 1 1\n");

    const auto own = shell(
        "echo $QX_SYSTEM_DIR $QX_LOG_RINGBUF_WEIGHT "
        "$QX_LOG_RINGBUF_PER_PROCESS $QX_LOG_RINGBUF_DIR",
        {{"QX_SYSTEM_DIR", "/own/system"},
         {"QX_LOG_RINGBUF_PER_PROCESS", "0"},
         {"QX_LOG_RINGBUF_WEIGHT", "3"},
         {"QX_LOG_RINGBUF_DIR", directory_.path()}});
    EXPECT_EQ(own.status, 0);
    EXPECT_EQ(own.out, "/own/system 3 0 " + directory_.path().string() + "\n");
}

TEST_F(Run, PutsTheSocketsWhereTheUserWantsThem) {
    const std::string place = directory_.file("mine");
    std::filesystem::create_directory(place);
    std::filesystem::current_path(directory_.path());
    const auto process = run({"sh", "-c", "cd / && ls $QX_RAGD_SOCKET_DIR"}, {"--dir", "mine"});
    EXPECT_EQ(process.status, 0);
    EXPECT_EQ(process.out, "ragdaj\nragdctl\nragdsj\n");
    EXPECT_TRUE(std::filesystem::is_empty(place));
    EXPECT_TRUE(nothingLeft());
}

TEST_F(Run, FailsWhenItCannotListen) {
    const auto process = run({"true"}, {"--dir", directory_.file("none")});
    EXPECT_EQ(process.status, 1);
    EXPECT_NE(untraced(process.err).find("No such file or directory"), std::string::npos);
    EXPECT_TRUE(nothingLeft());
}

TEST_F(Run, KeepsTheDirectoryWhenAsked) {
    const auto process = run({"true"}, {"--keep"});
    EXPECT_EQ(process.status, 0);
    const auto kept = std::filesystem::directory_iterator(parent())->path();
    EXPECT_EQ(untraced(process.err), "varnock-agent: keeping " + kept.string() + "\n");
    EXPECT_TRUE(std::filesystem::exists(kept / "system/registry"));
    EXPECT_FALSE(std::filesystem::exists(kept / "ragdsj"));
}

TEST_F(Run, PassesSignalsOn) {
    Subprocess process(
        line({"sh", "-c", "trap 'exit 33' TERM; echo ready; while :; do sleep 0.01; done"}));
    ASSERT_TRUE(process.waitForOutput("ready"));
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait().status, 33);
    EXPECT_TRUE(nothingLeft());
}

TEST_F(Run, LeavesNothingBehindWhenItIsKilled) {
    Inherited inherited;
    Subprocess process(line({"sh", "-c", "echo ready; exec sleep 1000"}));
    ASSERT_TRUE(process.waitForOutput("ready"));
    EXPECT_FALSE(nothingLeft());
    process.signal(SIGKILL);
    EXPECT_EQ(process.wait().status, 128 + SIGKILL);
    // The command, and the guardian that cleans up.
    inherited.waitForAll();
    EXPECT_TRUE(nothingLeft());
}

TEST_F(Run, GivesTheCommandItsSignalsBack) {
    // A shell that waits for a blocked signal would never end.
    EXPECT_EQ(shell("kill -TERM $$; sleep 1000").status, 128 + SIGTERM);
    EXPECT_EQ(shell("kill -USR1 $$; sleep 1000").status, 128 + SIGUSR1);
}

TEST_F(Run, RunsAnAgentWithinAnAgent) {
    const auto process = run({VARNOCK_AGENT_PATH, "run", "--", "sh", "-c", "exit 5"});
    EXPECT_EQ(process.status, 5);
    EXPECT_TRUE(nothingLeft());
}

}  // namespace
}  // namespace varnock::agent::test
