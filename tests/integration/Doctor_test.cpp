// varnockctl doctor.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Nobody.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Doctor : public testing::Test {
  protected:
    Doctor() {
        agent_.handle([](const AgentRequest&) { return AgentReply::ok(numberData(0)); });
    }
    /// The report about an agent with this reply to its first request.
    std::string reportOn(const AgentReply& reply) {
        agent_.handle([reply](const AgentRequest&) { return reply; });
        const ProcessResult result = doctor();
        EXPECT_EQ(result.status, 7) << result.out;
        return result.out;
    }
    /// The agent of this test uses the directory that it sets in the environment.
    ProcessResult doctor(std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), "doctor");
        ProcessResult result = files_.varnockctl(arguments);
        result.out = squeezed(result.out);
        return result;
    }
    /// The text with a single blank for each row of them: a column is as wide as its longest cell.
    static std::string squeezed(const std::string& text) {
        std::string out;
        std::unique_copy(text.begin(), text.end(), std::back_inserter(out),
                         [](char a, char b) { return a == ' ' && b == ' '; });
        return out;
    }
    /// The lines of a report without the fixes.
    static std::vector<std::string> findingsOf(const ProcessResult& result) {
        std::vector<std::string> findings;
        for (const std::string& line : linesOf(result.out)) {
            if (line.find("mend: ") == line.npos) {
                findings.push_back(line);
            }
        }
        return findings;
    }
    std::string problem() const {
        std::string found;
        for (const std::string& line : findingsOf(doctor())) {
            if (line.starts_with("problem")) {
                found += line + "\n";
            }
        }
        return found;
    }

    ScriptedAgent agent_;
    LibraryFiles files_;
};

TEST_F(Doctor, FindsNothingWhereAllIsWell) {
    const ProcessResult result = doctor();
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(findingsOf(result),
                ElementsAre(ContainsRegex("^ok agent takes requests at .*/ragdsj, "
                                          "and answered one in [0-9]+\\.[0-9][0-9] ms$"),
                            StartsWith("ok agent takes events at "),
                            "ok registry " + files_.file("registry") + " is readable",
                            "ok trace " + files_.traceFile() +
                                " is created when a program first loads the library",
                            "ok environment nothing is wrong with the variables of the "
                            "library"));
    EXPECT_THAT(result.out, Not(HasSubstr("mend:")));
    files_.host({"load"});
    EXPECT_THAT(doctor().out, HasSubstr("trace " + files_.traceFile() + " is writable\n"));
}

TEST_F(Doctor, EveryFormatHasTheSameFindings) {
    files_.settings["QX_LOG_DEBUG_LEVEL"] = "few";
    const ProcessResult json = doctor({"-o", "json"});
    EXPECT_EQ(json.status, 7);
    rapidjson::Document document;
    document.Parse(json.out.c_str());
    ASSERT_FALSE(document.HasParseError()) << json.out;
    EXPECT_FALSE(document["sound"].GetBool());
    ASSERT_EQ(document["findings"].Size(), 5U);
    EXPECT_EQ(document["findings"][0]["check"], "agent");
    EXPECT_EQ(document["findings"][0]["state"], "ok");
    EXPECT_TRUE(document["findings"][0]["mend"].IsNull());
    EXPECT_EQ(document["findings"][4]["state"], "problem");
    EXPECT_EQ(document["findings"][4]["mend"],
              "set QX_LOG_DEBUG_LEVEL to a decimal number, or unset it");
    EXPECT_EQ(linesOf(doctor({"-o", "jsonl"}).out).size(), 5U);
    const auto rows = linesOf(doctor({"-o", "csv"}).out);
    ASSERT_EQ(rows.size(), 6U);
    EXPECT_EQ(rows[0], "check,state,finding,mend");
}

TEST_F(Doctor, SaysThatNoAgentListens) {
    files_.settings["QX_RAGD_SOCKET_DIR"] = files_.path();
    const ProcessResult result = doctor();
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("cannot be reached for requests at " + files_.file("ragdsj") +
                                ": No such file or directory\n"),
                      HasSubstr("cannot be reached for events at " + files_.file("ragdaj")),
                      HasSubstr("mend: start the management agent")));
}

TEST_F(Doctor, SaysThatTheAgentIsStuck) {
    agent_.handle([](const AgentRequest&) { return AgentReply::none(); });
    const ProcessResult result = doctor({"--timeout", "0.05"});
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("problem agent is stuck: listens at " + agent_.requestSocket() +
                                ", but gave no answer within 0.05 s\n"),
                      HasSubstr("mend: restart the management agent"),
                      HasSubstr("ok agent takes events at "), HasSubstr("ok environment")));
}

TEST_F(Doctor, SaysThatTheAgentIsStuckFromTheRegistrationOn) {
    agent_.handleRegistration(
        [](const AgentRequest&) { return AgentReply::registration().cutTo(30); });
    EXPECT_THAT(doctor({"--timeout", "0.05"}).out, HasSubstr("is stuck: listens at "));
}

TEST_F(Doctor, SaysThatAnAgentThatTakesNoFurtherConnectionIsStuck) {
    const int full = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    files_.file("ragdsj").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(full, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(full, 0), 0);
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    files_.settings["QX_RAGD_SOCKET_DIR"] = files_.path();
    EXPECT_THAT(doctor({"--timeout", "0.05"}).out,
                HasSubstr("problem agent is stuck: listens at " + files_.file("ragdsj")));
    close(client);
    close(full);
}

TEST_F(Doctor, TellsWhatTheAgentSays) {
    agent_.handle([](const AgentRequest&) { return AgentReply::status(19); });
    EXPECT_EQ(doctor().status, 0);
    EXPECT_THAT(reportOn(AgentReply::status(24)),
                AllOf(HasSubstr("problem agent refuses requests at " + agent_.requestSocket() +
                                " (status 24: not allowed)\n"),
                      HasSubstr("mend: run as a user that the agent answers")));
    EXPECT_THAT(reportOn(AgentReply::status(1)),
                HasSubstr("refused a request at " + agent_.requestSocket() +
                          " (status 1: the agent failed the command)\n"));
    EXPECT_THAT(reportOn(AgentReply::json("no record")),
                HasSubstr(", but does not answer them (status 22: the reply has no status)\n"));
    EXPECT_THAT(reportOn(AgentReply::none().thenClose()),
                HasSubstr("takes requests at " + agent_.requestSocket() +
                          ", but does not answer them (status "));
}

TEST_F(Doctor, SaysWhatIsWrongWithTheRegistry) {
    writeFile(files_.file("registry"), "[HKEY_LOCAL_MACHINE]\nwhat\nelse\n\n\n");
    EXPECT_THAT(problem(), HasSubstr("registry:2: neither a key nor a value: the line is skipped, "
                                     "and more\n"));
    writeFile(files_.file("registry"), kSmallRegistry);
    ASSERT_EQ(mkdir(files_.file("registry.new").c_str(), 0700), 0);
    EXPECT_THAT(problem(), HasSubstr("cannot be saved: " + files_.file("registry.new")));
    ASSERT_EQ(rmdir(files_.file("registry.new").c_str()), 0);
    ASSERT_EQ(rename(files_.file("registry").c_str(), files_.file("registry.old").c_str()), 0);
    EXPECT_THAT(problem(), HasSubstr("registry is missing; "));
    ASSERT_EQ(mkdir(files_.file("registry").c_str(), 0700), 0);
    EXPECT_THAT(problem(), AllOf(HasSubstr("registry: not a regular file"),
                                 HasSubstr("trace goes only to standard error")));
}

TEST_F(Doctor, ItsSmallestRegistryIsGoodEnough) {
    ASSERT_EQ(unlink(files_.file("registry").c_str()), 0);
    const std::string report = doctor().out;
    const std::size_t command = report.find("mkdir -p ");
    ASSERT_NE(command, report.npos) << report;
    ASSERT_EQ(runProcess({"sh", "-c", report.substr(command, report.find('\n', command) - command)})
                  .status,
              0);
    EXPECT_EQ(doctor().status, 0) << doctor().out;
    EXPECT_EQ(files_.varnockctl({"registry", "check"}).status, 0);
}

TEST_F(Doctor, SaysWhatIsWrongWithTheTraceFile) {
    files_.settings["QX_LOG_RINGBUF_DIR"] = files_.file("logs");
    EXPECT_THAT(problem(),
                HasSubstr("trace " + files_.file("logs") + ": No such file or directory\n"));
    files_.settings.clear();
    ASSERT_EQ(symlink("registry", files_.traceFile().c_str()), 0);
    EXPECT_THAT(problem(), HasSubstr(files_.traceFile() + " is a symbolic link"));
    ASSERT_EQ(unlink(files_.traceFile().c_str()), 0);
    ASSERT_EQ(mkdir(files_.traceFile().c_str(), 0700), 0);
    EXPECT_THAT(problem(), HasSubstr(files_.traceFile() + " is not a regular file"));
    files_.settings["QX_LOG_RINGBUF_WEIGHT"] = "-1";
    EXPECT_THAT(problem(), HasSubstr("the maximum is 2147483647"));
    files_.settings["QX_LOG_RINGBUF_WEIGHT"] = "0";
    const ProcessResult off = doctor();
    EXPECT_EQ(off.status, 0);
    EXPECT_THAT(off.out, HasSubstr("note trace goes only to standard error"));
}

TEST_F(Doctor, TheTraceOfTheRegistryIsLookedAtUnlessTheEnvironmentSaysOtherwise) {
    writeFile(files_.file("registry"),
              "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Debug]\n[CIM_Provider]\n"
              "RingBufferSizeWeight=d=0\n\n\n\n\n\n");
    EXPECT_EQ(problem(), "");
    EXPECT_THAT(doctor().out, HasSubstr("is created when a program first loads the library"));
    const auto environment = files_.environment();
    EXPECT_THAT(
        runProcess({"env", "-u", "QX_LOG_RINGBUF_WEIGHT", VARNOCKCTL, "doctor"}, environment).out,
        HasSubstr("goes only to standard error, because the size of its file is 0"));
}

TEST_F(Doctor, NamesLiveProcessesThatShareATraceFile) {
    const auto holder = [&] {
        auto process = std::make_unique<Subprocess>(
            std::vector<std::string>{LIBRARY_HOST_SHARED, "hold"}, files_.environment());
        EXPECT_TRUE(process->waitForOutput("holding"));
        return process;
    };
    const auto nameOf = [](const Subprocess& process) {
        return std::to_string(process.pid()) + " (library_host_sh)";
    };
    auto first = holder();
    EXPECT_EQ(problem(), "");
    const auto second = holder();
    const auto& [lower, upper] = std::minmax(
        first, second, [](const auto& a, const auto& b) { return a->pid() < b->pid(); });
    EXPECT_EQ(problem(), "problem trace live processes share " + files_.traceFile() +
                             " and overwrite each other's entries: " + nameOf(*lower) + ", " +
                             nameOf(*upper) + "\n");
    EXPECT_THAT(doctor().out, HasSubstr("mend: give each process its own file: set "
                                        "QX_LOG_RINGBUF_PER_PROCESS=1 for them"));
    EXPECT_EQ(doctor().status, 7);
    files_.settings["QX_LOG_RINGBUF_PER_PROCESS"] = "1";
    const auto third = holder();
    EXPECT_THAT(doctor().out, AllOf(HasSubstr("mend: restart them"),
                                    Not(HasSubstr(std::to_string(third->pid())))));
    first->signal(SIGKILL);
    first->wait();
    EXPECT_EQ(problem(), "");
}

TEST_F(Doctor, LooksAtTheFirstLetterOfUseWhereEachProcessHasAFileOfItsOwn) {
    files_.settings["QX_LOG_RINGBUF_PER_PROCESS"] = "1";
    EXPECT_THAT(doctor().out, HasSubstr("ok trace " + files_.traceFile() +
                                        " is created when a program first loads the library"));
    ASSERT_EQ(mkdir(files_.traceFile().c_str(), 0700), 0);
    const ProcessResult result = doctor();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, AllOf(HasSubstr("note trace " + files_.traceFile() +
                                            " cannot be used by this user and is skipped\n"),
                                  HasSubstr("ok trace " + files_.traceFile('b') + " is created")));
    files_.host({"load"});
    EXPECT_THAT(doctor().out, HasSubstr(files_.traceFile('b') + " is writable\n"));
    for (char letter = 'c'; letter <= 'z'; ++letter) {
        ASSERT_EQ(mkdir(files_.traceFile(letter).c_str(), 0700), 0);
    }
    ASSERT_EQ(unlink(files_.traceFile('b').c_str()), 0);
    ASSERT_EQ(mkdir(files_.traceFile('b').c_str(), 0700), 0);
    EXPECT_EQ(problem(), "problem trace " + files_.traceFile('z') + " is not a regular file\n");
}

TEST_F(Doctor, ChangesNothing) {
    files_.host({"load"});
    const std::string trace = readFile(files_.traceFile());
    const std::string registry = readFile(files_.file("registry"));
    doctor();
    EXPECT_EQ(readFile(files_.traceFile()), trace);
    EXPECT_EQ(readFile(files_.file("registry")), registry);
}

TEST_F(Doctor, TellsAUserWhatIsOnlyForOthers) {
    SKIP_IF_NOT_RUN_AS_NOBODY(VARNOCKCTL);
    files_.host({"load"});
    std::filesystem::permissions(files_.path(), std::filesystem::perms(0755));
    const ProcessResult result = runProcess(asNobody({VARNOCKCTL, "doctor"}), files_.environment());
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(squeezed(result.out),
                AllOf(HasSubstr("note registry this user cannot save it"),
                      HasSubstr("problem trace " + files_.traceFile() + ": Permission denied\n"),
                      HasSubstr("mend: set QX_LOG_RINGBUF_DIR to a directory of this user\n")));
}

}  // namespace
}  // namespace varnock::test
