// The examples of the manual pages and of the agent's guide are typed, and print what is shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/CodeBlocks.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// Replaces the escape of a backslash.
std::string displayed(std::string line) {
    for (std::size_t at = 0; (at = line.find("\\e", at)) != std::string::npos; ++at) {
        line.replace(at, 2, "\\");
    }
    return line;
}

/// The literal blocks of a page's section EXAMPLES, as a reader sees them.
std::vector<std::string> examplesOf(const std::string& page) {
    std::vector<std::string> blocks;
    bool isExample = false;
    bool isBlock = false;
    for (const std::string& line : linesOf(readFile(SOURCE_TREE "/man/" + page))) {
        if (line.starts_with(".Sh ")) {
            isExample = line == ".Sh EXAMPLES";
        } else if (line.starts_with(".Bd ") && isExample) {
            isBlock = true;
            blocks.emplace_back();
        } else if (line == ".Ed") {
            isBlock = false;
        } else if (isBlock) {
            blocks.back() += displayed(line) + "\n";
        }
    }
    return blocks;
}

/// The commands of a block, each with the indented lines below that continue it.
std::vector<std::string> commandsOf(const std::string& block) {
    std::vector<std::string> commands;
    for (const std::string& line : linesOf(block)) {
        if (line.starts_with("    ") && !commands.empty()) {
            commands.back() += "\n" + line;
        } else {
            commands.push_back(line);
        }
    }
    return commands;
}

/// The same, without what the block shows as output. There a command begins with "$ ".
std::vector<std::string> typedCommandsOf(const std::string& block) {
    std::vector<std::string> commands = commandsOf(block);
    std::erase_if(commands, [](const std::string& command) { return !command.starts_with("$ "); });
    return commands;
}

/// Runs the commands, each shown before its output.
std::string scriptOf(const std::string& block) {
    std::string script = "exec 2>&1\n";
    for (const std::string& command : typedCommandsOf(block)) {
        script += "cat <<'TYPED'\n" + command + "\nTYPED\n" + command.substr(2) + "\n";
    }
    return script;
}

/// What the reader of the agent's guide has, for a shell in an empty directory: a described machine
/// with an agent in $DIR, where no time passes, and another agent in place of /dev. Programs that
/// run until a signal take the place of the agent, in the background; who waits for a call gets
/// one.
constexpr const char* kReader = R"(
export DIR=$PWD/sockets UPSTREAM=$PWD/upstream
export QX_RAGD_SOCKET_DIR=$DIR
mkdir "$DIR" "$UPSTREAM"
end() {
    kill -CONT "$1"
    kill "$1"
    wait "$1"
} 2>/dev/null
isReady() {
    if [ "$1" = record ]; then [ -S "$DIR/ragdaj" ]; else command varnock-agent ctl status; fi
} >/dev/null 2>&1
begin() {
    [ -z "${AGENT-}" ] || end "$AGENT"
    command varnock-agent "$@" & AGENT=$!
    until isReady "$1"; do kill -0 "$AGENT" || return 1; done
}
sleep() { :; }
varnock-agent() {
    set -- "${@/#\/run\/varnock/$DIR}"
    set -- "${@/#\/dev/$UPSTREAM}"
    case "$1 $2" in
        serve\ * | record\ *) begin "$@" ;;
        ctl\ expect)
            while :; do varnockctl call getFanStatus --cabinet 0 --object 2; done >/dev/null 2>&1 &
            command varnock-agent "$@"
            set -- $?
            end $!
            return "$1"
            ;;
        *) command varnock-agent "$@" ;;
    esac
}
cp "$MACHINES/typical.json" my-server.json
command varnock-agent serve --machine typical --dir "$UPSTREAM" & upstream=$!
trap 'end $AGENT; end $upstream' EXIT
begin serve --machine typical --clock virtual --dir "$DIR"
)";

/// True if the line is as the page shows it; there "..." stands for any text.
bool isAsShown(const std::string& line, const std::string& shown) {
    const std::size_t any = shown.find("...");
    if (any == std::string::npos) {
        return line == shown;
    }
    return line.starts_with(shown.substr(0, any)) && line.ends_with(shown.substr(any + 3)) &&
           line.size() >= shown.size() - 3;
}

/// A shell with the programs and a registry of its own.
class ManualExamples : public testing::Test {
  protected:
    ProcessResult type(const std::string& script) const {
        Subprocess::Environment environment = files_.environment();
        environment["PATH"] = std::filesystem::path(VARNOCKCTL).parent_path().string() +
                              ":/usr/local/bin:/usr/bin:/bin";
        environment["TMPDIR"] = files_.path();
        environment["LC_ALL"] = "C.UTF-8";
        environment["MACHINES"] = SOURCE_TREE "/examples/machines";
        return runProcess({"sh", "-c", "cd " + files_.path().string() + "\n" + script},
                          environment);
    }
    void expectShown(const std::string& block) const {
        SCOPED_TRACE(block);
        const ProcessResult typed = type(scriptOf(block));
        const std::vector<std::string> lines = linesOf(typed.out);
        const std::vector<std::string> shown = linesOf(block);
        ASSERT_EQ(lines.size(), shown.size()) << typed.out << typed.err;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            EXPECT_TRUE(isAsShown(lines[i], shown[i])) << lines[i];
        }
    }

    void expectAllShown(const std::vector<std::string>& blocks, std::size_t least) const {
        EXPECT_GE(blocks.size(), least);
        for (const std::string& block : blocks) {
            expectShown(block);
        }
    }

    LibraryFiles files_;
};

TEST_F(ManualExamples, OfVarnockctlPrintWhatThePageShows) {
    expectAllShown(examplesOf("varnockctl.1"), 5U);
}

TEST_F(ManualExamples, OfTheAgentPrintWhatThePageShows) {
    expectAllShown(examplesOf("varnock-agent.1"), 5U);
}

TEST_F(ManualExamples, OfATranscriptPrintWhatThePageShows) {
    expectAllShown(examplesOf("varnock-transcript.5"), 3U);
}

TEST_F(ManualExamples, OfTheAgentsGuidePrintWhatItShows) {
    expectAllShown(codeBlocks(readFile(SOURCE_TREE "/docs/agent.md"), "console"), 1U);
}

TEST_F(ManualExamples, OfTheAgentsGuideEndAsTheyShouldWhenTyped) {
    std::vector<std::vector<std::string>> sessions;
    for (const std::string& block : codeBlocks(readFile(SOURCE_TREE "/docs/agent.md"), "sh")) {
        const std::vector<std::string> commands = commandsOf(block);
        if (block.find("$AGENT") == std::string::npos) {
            sessions.push_back(commands);
            continue;
        }
        // Each of these is for an agent of its own.
        for (const std::string& command : commands) {
            sessions.push_back({command});
        }
    }
    ASSERT_GE(sessions.size(), 14U);
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        const std::string directory = files_.file(std::to_string(i));
        std::filesystem::create_directory(directory);
        std::string script = kReader;
        std::string expected;
        for (const std::string& command : sessions[i]) {
            script += command + "\necho $? >>statuses\n";
            expected += command.find("status 25") == std::string::npos ? "0\n" : "3\n";
        }
        writeFile(directory + "/typed", script);
        const ProcessResult typed = type("cd " + directory + " && bash ./typed");
        EXPECT_EQ(readFile(directory + "/statuses"), expected)
            << testing::PrintToString(sessions[i]) << typed.out << typed.err;
    }
}

TEST_F(ManualExamples, OfAMachineFileIsAMachine) {
    const auto examples = examplesOf("varnock-machine.5");
    ASSERT_EQ(examples.size(), 1U);
    writeFile(files_.file("server.json"), examples[0]);
    const ProcessResult checked = type(
        "varnock-agent check server.json && varnock-agent run --machine server.json -- "
        "varnockctl call getNumberFans --cabinet 0");
    EXPECT_EQ(checked.status, 0) << checked.err;
    EXPECT_THAT(checked.out, testing::EndsWith("2\n"));
}

TEST_F(ManualExamples, OfAScenarioIsAScenario) {
    const auto examples = examplesOf("varnock-scenario.5");
    ASSERT_EQ(examples.size(), 1U);
    writeFile(files_.file("door.json"), examples[0]);
    const ProcessResult checked = type(
        "varnock-agent check door.json && varnock-agent run --clock virtual --scenario door.json "
        "-- sh -c 'varnock-agent ctl advance 1h; varnock-agent ctl status'");
    EXPECT_EQ(checked.status, 3) << checked.err;
    EXPECT_THAT(checked.out, HasSubstr("scenario steps done: 5\n"));
    EXPECT_THAT(checked.err,
                HasSubstr("at 6 s: expect: getHousingOpenStatus was asked 0 of 1 times"));
}

TEST_F(ManualExamples, OfARegistryIsWhole) {
    const auto examples = examplesOf("varnock-registry.5");
    ASSERT_EQ(examples.size(), 1U);
    writeFile(files_.file("registry"), examples[0]);
    const ProcessResult checked = type("varnockctl registry check");
    EXPECT_EQ(checked.status, 0) << checked.out << checked.err;
    EXPECT_THAT(type("varnockctl registry get HKLM/SOFTWARE Name").out, HasSubstr("a=b"));
}

TEST_F(ManualExamples, ALineMayHaveAnyTextBetweenTwoOthers) {
    EXPECT_TRUE(isAsShown("a 12 b", "a ... b"));
    EXPECT_FALSE(isAsShown("a 12 c", "a ... b"));
    EXPECT_FALSE(isAsShown("a b", "a ... b"));
    EXPECT_FALSE(isAsShown("ab", "a"));
}

}  // namespace
}  // namespace varnock::test
