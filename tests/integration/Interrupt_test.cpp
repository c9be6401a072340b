// SIGINT and SIGTERM end every subcommand, whatever it is waiting for.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <semaphore>

#include "runtime/files/FileDescriptor.h"
#include "tests/integration/LibraryFiles.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

using Command = std::vector<std::string>;

rapidjson::Document parsed(const ProcessResult& result) {
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    EXPECT_FALSE(document.HasParseError()) << result.out << result.err;
    return document;
}

void expectInterrupted(const rapidjson::Value& failure, int signal) {
    ASSERT_TRUE(failure.IsObject() && failure.HasMember("error"));
    EXPECT_EQ(failure["error"]["status"].GetInt(), 128 + signal);
    EXPECT_STREQ(failure["error"]["message"].GetString(),
                 signal == SIGINT ? "interrupted" : "terminated");
}

/// An agent that accepts connections, and notifies the test of a request that it will not answer.
class StuckAgent {
  public:
    enum class How { silent, inMidReply };

    /// When it stops answering: at the registration of a connection, or later.
    explicit StuckAgent(How how, bool registers = false) : how_(how) {
        if (!registers) {
            agent_.handleRegistration([this](const AgentRequest&) { return noReply(); });
        }
        agent_.handle([this](const AgentRequest&) { return noReply(); });
    }
    ScriptedAgent& scripted() { return agent_; }
    /// False if no request arrives within a minute.
    bool awaitRequest() { return arrived_.try_acquire_for(std::chrono::minutes(1)); }

  private:
    AgentReply noReply() {
        arrived_.release();
        return how_ == How::silent
                   ? AgentReply::none()
                   : AgentReply::raw(frame(AgentRecord{.status = 0, .data = "1"})).cutTo(20);
    }

    const How how_;
    std::counting_semaphore<> arrived_{0};
    ScriptedAgent agent_;
};

struct InterruptCase {
    int signal;
    StuckAgent::How how;
};

class StuckRequest : public testing::TestWithParam<InterruptCase> {
  protected:
    void expectEnd(bool registers, const Command& arguments) {
        StuckAgent agent(GetParam().how, registers);
        Command command{VARNOCKCTL, "-o", "json", "--timeout", "60"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        Subprocess process(command);
        ASSERT_TRUE(agent.awaitRequest()) << arguments[0];
        const auto signalled = std::chrono::steady_clock::now();
        process.signal(GetParam().signal);
        const ProcessResult& result = process.wait();
        // Half a second; a busy machine may take longer, but not as long as the command's own
        // limits.
        EXPECT_LT(std::chrono::steady_clock::now() - signalled, std::chrono::seconds(10));
        EXPECT_EQ(result.status, 128 + GetParam().signal) << arguments[0];
        expectInterrupted(parsed(result), GetParam().signal);
    }
};

TEST_P(StuckRequest, IsLeft) {
    for (const bool registers : {false, true}) {
        expectEnd(registers, {"call", "getNumberCPUs", "--cabinet", "0"});
        expectEnd(registers, {"raw", "0x0600"});
        expectEnd(registers, {"inventory"});
        expectEnd(registers, {"doctor"});
    }
    expectEnd(false, {"watch"});
}

TEST_P(StuckRequest, IsLeftByAnyFormatWithoutAResult) {
    for (const char* format : {"table", "csv"}) {
        StuckAgent agent(GetParam().how);
        Subprocess process({VARNOCKCTL, "-o", format, "watch"});
        ASSERT_TRUE(agent.awaitRequest());
        process.signal(GetParam().signal);
        EXPECT_EQ(process.wait().status, 128 + GetParam().signal);
        EXPECT_EQ(process.wait().out, "");
        EXPECT_EQ(process.wait().err, GetParam().signal == SIGINT ? "varnockctl: interrupted\n"
                                                                  : "varnockctl: terminated\n");
    }
}

INSTANTIATE_TEST_SUITE_P(Signals, StuckRequest,
                         testing::Values(InterruptCase{SIGINT, StuckAgent::How::silent},
                                         InterruptCase{SIGTERM, StuckAgent::How::silent},
                                         InterruptCase{SIGINT, StuckAgent::How::inMidReply},
                                         InterruptCase{SIGTERM, StuckAgent::How::inMidReply}),
                         [](const auto& stuck) {
                             return std::string(stuck.param.signal == SIGINT ? "SIGINT"
                                                                             : "SIGTERM") +
                                    (stuck.param.how == StuckAgent::How::silent ? "Silent"
                                                                                : "InMidReply");
                         });

class Interrupt : public testing::TestWithParam<int> {};

TEST_P(Interrupt, EndsAStream) {
    for (const char* format : {"json", "jsonl"}) {
        ScriptedAgent agent;
        agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = "1"});
        Subprocess watching({VARNOCKCTL, "-o", format, "watch"});
        ASSERT_TRUE(watching.waitForOutput("\"data\":1}\n"));
        watching.signal(GetParam());
        const ProcessResult& result = watching.wait();
        EXPECT_EQ(result.status, 128 + GetParam());
        const auto lines = linesOf(result.out);
        const std::string last = lines.back();
        EXPECT_THAT(last, EndsWith("\"error\":{\"status\":" + std::to_string(128 + GetParam()) +
                                   ",\"message\":\"" +
                                   (GetParam() == SIGINT ? "interrupted" : "terminated") + "\"}}"));
        if (format == std::string("json")) {
            EXPECT_EQ(parsed(result)["events"].Size(), 1U);
        }
    }
}

TEST_P(Interrupt, EndsAWatchWhoseAgentHasStoppedInMidEvent) {
    ScriptedAgent agent;
    agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = "1"});
    Subprocess watching({VARNOCKCTL, "-o", "json", "watch"});
    ASSERT_TRUE(watching.waitForOutput("\"data\":1}\n"));
    agent.push(
        AgentReply::raw(frame(AgentRecord{.opcode = 0x0B11, .status = 0, .data = "2"})).cutTo(20));
    watching.signal(GetParam());
    const ProcessResult& result = watching.wait();
    EXPECT_EQ(result.status, 128 + GetParam());
    const auto document = parsed(result);
    ASSERT_TRUE(document.IsObject());
    expectInterrupted(document, GetParam());
}

TEST_P(Interrupt, EndsATraceThatIsFollowed) {
    const LibraryFiles files;
    files.host({"load"});
    Subprocess follower({VARNOCKCTL, "-o", "json", "trace", "-f"}, files.environment());
    ASSERT_TRUE(follower.waitForOutput("Start of work cycle. (00000001)"));
    follower.signal(GetParam());
    const ProcessResult& result = follower.wait();
    EXPECT_EQ(result.status, 128 + GetParam());
    const auto document = parsed(result);
    ASSERT_TRUE(document.IsObject());
    expectInterrupted(document, GetParam());
}

/// Counts how often a file is opened, from construction on.
class OpenWatch {
  public:
    explicit OpenWatch(const std::string& path) : watch_(inotify_init1(IN_CLOEXEC)) {
        EXPECT_GE(inotify_add_watch(watch_.get(), path.c_str(), IN_OPEN), 0);
    }

    void awaitOpen() const {
        inotify_event event{};
        EXPECT_EQ(read(watch_.get(), &event, sizeof event), static_cast<ssize_t>(sizeof event));
    }

  private:
    FileDescriptor watch_;
};

TEST_P(Interrupt, EndsAnImportThatWaitsForTheRegistryAndChangesNothing) {
    const LibraryFiles files;
    writeFile(files.file("added"), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=d=1\n\n\n\n");
    const int other =
        open(files.file("registry.new").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    const OpenWatch tries(files.file("registry.new"));
    Subprocess importing(
        {VARNOCKCTL, "-o", "json", "--timeout", "60", "registry", "import", files.file("added")},
        files.environment());
    tries.awaitOpen();
    tries.awaitOpen();
    importing.signal(GetParam());
    const ProcessResult& result = importing.wait();
    close(other);
    EXPECT_EQ(result.status, 128 + GetParam());
    expectInterrupted(parsed(result), GetParam());
    EXPECT_EQ(readFile(files.file("registry")), kSmallRegistry);
    // The remaining files do not prevent later changes.
    EXPECT_EQ(files.varnockctl({"registry", "import", files.file("added")}).status, 0);
}

TEST_P(Interrupt, EndsACommandThatWaitsForStandardInput) {
    const LibraryFiles files;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(dup2(ends[0], 9), 9);
    Subprocess importing(
        {"sh", "-c", "echo begun >&2; exec \"$0\" -o json --timeout 60 registry import - <&9",
         VARNOCKCTL},
        files.environment());
    ASSERT_TRUE(importing.waitForError("begun"));
    importing.signal(GetParam());
    EXPECT_EQ(importing.wait().status, 128 + GetParam());
    EXPECT_EQ(readFile(files.file("registry")), kSmallRegistry);
}

TEST_P(Interrupt, EndsAQuestionOnTheTerminal) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(terminal, 0);
    ASSERT_EQ(grantpt(terminal), 0);
    ASSERT_EQ(unlockpt(terminal), 0);
    const int end = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(dup2(end, 9), 9);
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::status(19); });
    Subprocess asking({"sh", "-c",
                       "exec \"$0\" -o json --timeout 60 call setConfServerAssetTag --value x <&9",
                       VARNOCKCTL});
    ASSERT_TRUE(asking.waitForError("Continue? [y/N]"));
    asking.signal(GetParam());
    const ProcessResult& result = asking.wait();
    EXPECT_EQ(result.status, 128 + GetParam());
    expectInterrupted(parsed(result), GetParam());
    close(terminal);
}

TEST_P(Interrupt, ThatWasIgnoredAtTheStartStaysIgnored) {
    ScriptedAgent agent;
    Subprocess watching({"sh", "-c", "trap '' INT TERM; exec \"$0\" watch --count 1", VARNOCKCTL});
    agent.awaitOpenConnections(2);
    watching.signal(GetParam());
    agent.pushEvent({.opcode = 0x0B11, .status = 0, .data = "1"});
    EXPECT_EQ(watching.wait().status, 0);
    EXPECT_THAT(watching.wait().out, HasSubstr("systemMessageLog 1\n"));
}

INSTANTIATE_TEST_SUITE_P(Signals, Interrupt, testing::Values(SIGINT, SIGTERM),
                         [](const auto& signal) {
                             return std::string(signal.param == SIGINT ? "SIGINT" : "SIGTERM");
                         });

}  // namespace
}  // namespace varnock::test
