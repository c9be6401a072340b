// Both tools when standard output is full or closed or has lost its reader.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

using Command = std::vector<std::string>;

Command redirected(const std::string& redirection, const Command& command) {
    Command all{"sh", "-c", "exec \"$@\" " + redirection, "sh"};
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

/// The pipe that the commands of a test inherit as descriptor 9.
class Pipe {
  public:
    Pipe() {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reader_ = ends[0];
        EXPECT_EQ(dup2(ends[1], 9), 9);
        close(ends[1]);
    }
    ~Pipe() {
        closeReader();
        close(9);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void closeReader() {
        if (reader_ >= 0) {
            close(reader_);
        }
        reader_ = -1;
    }
    int unread() const {
        int count = 0;
        EXPECT_EQ(ioctl(reader_, FIONREAD, &count), 0);
        return count;
    }

  private:
    int reader_ = -1;
};

struct Sink {
    const char* name;
    const char* redirection;
    const char* error;
};

class StandardOutput : public testing::TestWithParam<Sink> {
  protected:
    StandardOutput() {
        agent_.handle([](const AgentRequest& request) {
            return request.opcode == 0x0600 ? AgentReply::ok(numberData(48))
                                            : AgentReply::status(19);
        });
        pipe_.closeReader();
    }
    ProcessResult run(const Command& command) const {
        return runProcess(redirected(GetParam().redirection, command), files_.environment());
    }
    std::string messageOf(const std::string& tool) const {
        return tool + ": standard output cannot be written: " + GetParam().error + "\n";
    }
    /// Expects that the command reports its lost output, in a message and by its status.
    void expectLost(const Command& command) const {
        const ProcessResult result = run(command);
        const std::string tool = command[0] == VARNOCKCTL ? "varnockctl" : "varnock-agent";
        EXPECT_EQ(result.status, 10) << testing::PrintToString(command) << result.err;
        EXPECT_THAT(result.err, EndsWith(messageOf(tool))) << testing::PrintToString(command);
    }

    ScriptedAgent agent_;
    LibraryFiles files_;
    Pipe pipe_;
};

TEST_P(StandardOutput, HelpAndVersionOfBothToolsSayThatTheyAreLost) {
    for (const char* tool : {VARNOCKCTL, VARNOCK_AGENT}) {
        expectLost({tool, "--help"});
        expectLost({tool, "--version"});
    }
    expectLost({VARNOCKCTL, "registry", "set", "--help"});
    expectLost({VARNOCK_AGENT, "ctl", "event", "--help"});
}

TEST_P(StandardOutput, ResultsInEveryFormatSayThatTheyAreLost) {
    for (const char* format : {"table", "json", "jsonl", "csv"}) {
        expectLost({VARNOCKCTL, "-o", format, "list"});
        expectLost({VARNOCKCTL, "-o", format, "call", "getNumberCPUs", "--cabinet", "0"});
        expectLost({VARNOCKCTL, "-o", format, "registry", "tree"});
        expectLost({VARNOCKCTL, "-o", format, "doctor"});
    }
}

TEST_P(StandardOutput, AFailureThatIsPrintedCanBeLostToo) {
    expectLost({VARNOCKCTL, "-o", "json", "dance"});
    expectLost({VARNOCKCTL, "-o", "jsonl", "call", "getFanStatus", "--cabinet=0", "--object=0"});
    expectLost({VARNOCKCTL, "--timeout", "60", "-o", "json", "watch", "--count", "many"});
}

TEST_P(StandardOutput, ACommandThatPrintsNothingLosesNothing) {
    const ProcessResult result = run({VARNOCKCTL, "dance"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, Not(HasSubstr("standard output")));
}

TEST_P(StandardOutput, ATraceSaysThatItIsLost) {
    files_.host({"write", "1", "2000", "50"});
    for (const char* format : {"table", "json", "jsonl", "csv"}) {
        expectLost({VARNOCKCTL, "-o", format, "trace"});
        expectLost({VARNOCKCTL, "-o", format, "trace", "--follow"});
    }
}

TEST_P(StandardOutput, AWatchSaysThatItsEventsAreLost) {
    for (const char* format : {"table", "json", "jsonl", "csv"}) {
        // The event is for this watch, not for the previous one.
        agent_.awaitOpenConnections(0);
        agent_.pushEvent({.opcode = 0x0B11, .status = 0, .data = "1"});
        expectLost({VARNOCKCTL, "-o", format, "watch"});
    }
}

TEST_P(StandardOutput, TheAnswerOfARunningAgentCanBeLost) {
    const ProcessResult result = run({VARNOCK_AGENT, "run", "--", VARNOCK_AGENT, "ctl", "status"});
    EXPECT_EQ(result.status, 10);
    EXPECT_THAT(result.err, HasSubstr(messageOf("varnock-agent")));
}

TEST_P(StandardOutput, WhatIsPrintedGetsIntoNoOtherFile) {
    const ProcessResult result =
        run({VARNOCKCTL, "-o", "json", "registry", "set", "HKLM/SOFTWARE", "a", "1"});
    EXPECT_EQ(result.status, 10);
    EXPECT_EQ(readFile(files_.file("registry")), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=d=1\n\n\n\n");
}

INSTANTIATE_TEST_SUITE_P(Sinks, StandardOutput,
                         testing::Values(Sink{"Full", ">/dev/full", "No space left on device"},
                                         Sink{"Closed", ">&-", "Bad file descriptor"},
                                         Sink{"WithoutReader", ">&9", "Broken pipe"}),
                         [](const auto& sink) { return sink.param.name; });

TEST(StandardOutputAlone, AStreamEndsWithItsReaderThoughThereIsNothingToPrint) {
    const LibraryFiles files;
    files.host({"load"});
    ScriptedAgent agent;
    Pipe pipe;
    for (const Command& command :
         {Command{VARNOCKCTL, "watch"}, {VARNOCKCTL, "trace", "-f", "--since", "0s"}}) {
        Subprocess streaming(redirected(">&9", command), files.environment());
        if (command[1] == "watch") {
            agent.awaitOpenConnections(2);
        }
        pipe.closeReader();
        EXPECT_EQ(streaming.wait().status, 10) << command[1];
        EXPECT_EQ(streaming.wait().err,
                  "varnockctl: standard output cannot be written: Broken pipe\n");
    }
}

/// The redirections that close each subset of the standard streams.
std::vector<std::string> closedStreams() {
    std::vector<std::string> all;
    for (const std::string in : {"", "<&- "}) {
        for (const std::string out : {"", ">&- "}) {
            for (const std::string err : {"", "2>&-"}) {
                all.push_back(in + out + err);
            }
        }
    }
    return all;
}

TEST(StandardOutputAlone, WithoutSomeStreamsACommandSaysWhetherItsOutputIsLost) {
    const LibraryFiles files;
    for (const std::string& streams : closedStreams()) {
        const bool isLost = streams.find(">&- ") != streams.npos;
        const ProcessResult result =
            runProcess(redirected(streams, {VARNOCKCTL, "registry", "tree"}), files.environment());
        EXPECT_EQ(result.status, isLost ? 10 : 0) << streams;
        EXPECT_EQ(result.out.empty(), isLost) << streams;
    }
}

TEST(StandardOutputAlone, ACommandBesideAnAgentGetsTheStreamsAsTheyAre) {
    const Command agent{VARNOCK_AGENT, "run", "--", "sh", "-c"};
    const auto runs = [&](const std::string& streams, const std::string& script) {
        Command command = agent;
        command.push_back(script);
        return runProcess(redirected(streams, command)).status;
    };
    // The directory with the sockets exists, and the closed streams stay closed.
    for (const std::string& streams : closedStreams()) {
        EXPECT_EQ(runs(streams, "test -S $QX_RAGD_SOCKET_DIR/ragdsj"), 0) << streams;
    }
    EXPECT_EQ(runs(">&-", "test ! -e /proc/$$/fd/1 && test -e /proc/$$/fd/2"), 0);
    EXPECT_EQ(runs("", "kill -PIPE $$"), 128 + SIGPIPE);
}

TEST(StandardOutputAlone, AnInterruptEndsACommandWhoseReaderIsStuck) {
    Pipe pipe;
    const int capacity = fcntl(9, F_SETPIPE_SZ, 4096);
    ASSERT_GT(capacity, 0);
    Subprocess listing(redirected(">&9", {VARNOCKCTL, "list"}));
    while (pipe.unread() < capacity) {
    }
    listing.signal(SIGTERM);
    EXPECT_EQ(listing.wait().status, 143);
}

TEST(StandardOutputAlone, ErrorsThatComeWhenItIsClosedCount) {
    SKIP_IF_LEAKS_CANNOT_BE_SOUGHT();
    const TemporaryDirectory directory;
    const Command traced{"strace", "-qq",
                         "-o",     directory.file("calls"),
                         "-P",     directory.file("out"),
                         "-e",     "inject=close:error=EDQUOT:when=2+",
                         "sh"};
    if (runProcess({"strace", "-qq", "-o", directory.file("calls"), "true"}).status != 0) {
        GTEST_SKIP() << "strace, which injects the error, is not installed or not permitted";
    }
    for (const char* tool : {VARNOCKCTL, VARNOCK_AGENT}) {
        Command command = traced;
        const Command rest{"-c", "exec \"$0\" --version >" + directory.file("out"), tool};
        command.insert(command.end(), rest.begin(), rest.end());
        const ProcessResult result = runProcess(command);
        EXPECT_EQ(result.status, 10);
        EXPECT_THAT(result.err, EndsWith(": standard output cannot be written: Disk quota "
                                         "exceeded\n"));
    }
}

}  // namespace
}  // namespace varnock::test
