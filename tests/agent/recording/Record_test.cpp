#include "agent/recording/Record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include "agent/recording/Recording.h"
#include "tests/agent/AgentFixture.h"
#include "tests/agent/Processes.h"
#include "tests/support/TextFile.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;
using varnock::test::ProcessResult;
using varnock::test::runProcess;

class Record : public testing::Test {
  protected:
    /// Runs a script with an agent before and a directory for the recorder.
    ProcessResult shell(const std::string& script) {
        const std::string start =
            "dir=$1; mkdir $dir/proxy; mkfifo $dir/ready; exec 9<>$dir/ready; "
            "record() { \"$agent\" record --upstream $QX_RAGD_SOCKET_DIR --dir $dir/proxy "
            "--out $dir/session --ready-fd 9 \"$@\" & recorder=$!; read -r line <&9; }; "
            "agent=$0; ";
        return runProcess({VARNOCK_AGENT_PATH, "run", "--machine", "typical", "--", "sh", "-c",
                           start + script, VARNOCK_AGENT_PATH, directory_.path()});
    }
    std::string session() const { return varnock::test::readFile(directory_.file("session")); }

    varnock::test::TemporaryDirectory directory_;
};

TEST_F(Record, LeavesNoSocketAndAnEmptyRecordingOfNothing) {
    const auto process = shell("record; kill $recorder; wait $recorder && ls $dir/proxy");
    EXPECT_EQ(process.status, 0) << process.err;
    EXPECT_EQ(process.out, "");
    EXPECT_EQ(session(), "");
}

TEST_F(Record, SaysWhenItCannotWrite) {
    const auto process =
        shell("\"$agent\" record --upstream / --dir $dir/proxy --out $dir/no/file");
    EXPECT_EQ(process.status, 1);
    EXPECT_THAT(process.err, HasSubstr("no/file: cannot write a transcript: No such file"));
}

TEST_F(Record, SaysWhichOptionsAreMissing) {
    EXPECT_EQ(runProcess({VARNOCK_AGENT_PATH, "record", "--out", "f"}).status, 2);
    EXPECT_EQ(runProcess({VARNOCK_AGENT_PATH, "record", "--upstream", "d"}).status, 2);
    EXPECT_EQ(runProcess({VARNOCK_AGENT_PATH, "serve", "--dir", "d", "--lenient"}).status, 2);
}

TEST_F(Record, SaysWhatIsWrongWithARecording) {
    varnock::test::writeFile(directory_.file("bad"), "bad\n");
    const auto process =
        runProcess({VARNOCK_AGENT_PATH, "run", "--replay", directory_.file("bad"), "--", "true"});
    EXPECT_EQ(process.status, 1);
    EXPECT_THAT(process.err, HasSubstr("bad:1: not a line of a recording"));
}

/// Talks to the recorder as long as it runs.
class Recorder {
  public:
    Recorder(const varnock::test::TemporaryDirectory& directory, bool sanitizes) {
        std::filesystem::create_directory(directory.file("agent"));
        std::filesystem::create_directory(directory.file("proxy"));
        agent_ =
            start(directory, {"serve", "--machine", "typical", "--dir", directory.file("agent")});
        std::vector<std::string> words{"record",
                                       "--upstream",
                                       directory.file("agent"),
                                       "--dir",
                                       directory.file("proxy"),
                                       "--out",
                                       directory.file("session")};
        if (sanitizes) {
            words.emplace_back("--sanitize");
        }
        recorder_ = start(directory, words);
    }
    int end() {
        recorder_->signal(SIGTERM);
        return recorder_->wait().status;
    }

  private:
    static std::unique_ptr<varnock::test::Subprocess> start(
        const varnock::test::TemporaryDirectory& directory, std::vector<std::string> words) {
        std::filesystem::remove(directory.file("notify"));
        const Manager manager(directory);
        words.insert(words.begin(), VARNOCK_AGENT_PATH);
        auto process = std::make_unique<varnock::test::Subprocess>(
            words, varnock::test::Subprocess::Environment{{"NOTIFY_SOCKET", manager.path()}});
        EXPECT_THAT(manager.message(), HasSubstr("READY=1"));
        return process;
    }

    std::unique_ptr<varnock::test::Subprocess> agent_;
    std::unique_ptr<varnock::test::Subprocess> recorder_;
};

void askForTheName(const std::string& path) {
    const Client client(path);
    SipJson record(0xE001, 0x0201, 0, 0xFFFFFFFF, SipJson::noStatus);
    client.send(encodeFrame(record.Export()));
    char buffer[4096];
    pollfd ready{client.fd(), POLLIN, 0};
    EXPECT_EQ(poll(&ready, 1, -1), 1);
    EXPECT_GT(recv(client.fd(), buffer, sizeof buffer, 0), 0);
}

TEST_F(Record, KeepsPrivateValuesOutOfASanitizedRecording) {
    for (const bool sanitizes : {false, true}) {
        varnock::test::TemporaryDirectory directory;
        Recorder recorder(directory, sanitizes);
        askForTheName(directory.file("proxy/ragdsj"));
        const std::string before = varnock::test::readFile(directory.file("session"));
        EXPECT_EQ(recorder.end(), 0);
        const std::string after = varnock::test::readFile(directory.file("session"));
        EXPECT_EQ(after.find("alder") == std::string::npos, sanitizes);
        EXPECT_EQ(before.empty(), sanitizes);
        EXPECT_EQ(readRecording(directory.file("session")).size(), 1U);
    }
}

}  // namespace
}  // namespace varnock::agent::test
