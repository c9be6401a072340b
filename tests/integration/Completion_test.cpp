// The completion scripts in their shells, and the answers of the programs that they ask.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

/// A shell with this build's programs, a registry, and no files of the user.
class Shell {
  public:
    Shell() {
        writeFile(files_.file("registry"),
                  "[HKEY_LOCAL_MACHINE]\n[Big Key]\nHome=s=x\n[Inner]\n\n\n[SOFTWARE]\n\n\n\n");
        writeFile(files_.file("notes.txt"), "");
        std::filesystem::create_directory(files_.file("nested"));
    }

    /// The lines that a script prints after the completion script of this name was read.
    std::vector<std::string> run(std::vector<std::string> shell, const std::string& script) {
        writeFile(files_.file("script"), "cd " + files_.path().string() + "\n" + script);
        shell.push_back(files_.file("script"));
        Subprocess::Environment environment = files_.environment();
        environment["PATH"] =
            std::filesystem::path(VARNOCKCTL).parent_path().string() + ":" + getenv("PATH");
        environment["HOME"] = files_.path();
        const ProcessResult result = runProcess(shell, environment);
        EXPECT_EQ(result.err, "");
        return linesOf(result.out);
    }

  private:
    LibraryFiles files_;
};

bool isMissing(const std::string& program) {
    return runProcess({"sh", "-c", "command -v " + program}).status != 0;
}

std::string scriptNamed(const std::string& name) {
    return SOURCE_TREE "/completions/" + name;
}

/// What bash offers for the words that it has split a line into; `line` is the line as typed.
std::vector<std::string> bash(const std::string& line, const std::string& words) {
    return Shell().run({"bash", "--norc"},
                       "source " + scriptNamed("varnockctl.bash") + "\nCOMP_LINE=" + line +
                           "\nCOMP_WORDS=(" + words +
                           ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_varnock_complete\n"
                           "printf '%s\\n' \"${COMPREPLY[@]}\"\n");
}

TEST(Completion, WorksInBash) {
    EXPECT_THAT(bash("'varnockctl reg'", "varnockctl reg"), ElementsAre("registry"));
    EXPECT_THAT(bash("'varnockctl call getCPUBr'", "varnockctl call getCPUBr"),
                ElementsAre("getCPUBrandName"));
    EXPECT_THAT(bash("'varnock-agent se'", "varnock-agent se"), ElementsAre("serve"));
}

TEST(Completion, JoinsTheWordsThatBashSplits) {
    EXPECT_THAT(bash("'varnockctl --output=js'", "varnockctl --output = js"),
                ElementsAre("json", "jsonl"));
    EXPECT_THAT(bash("'varnockctl -o json --output='", "varnockctl -o json --output ="),
                Contains("table"));
    EXPECT_THAT(bash("'varnockctl describe getUmDiffComponentSubType@'",
                     "varnockctl describe getUmDiffComponentSubType @"),
                ElementsAre("0x3306"));
}

TEST(Completion, QuotesForBashWhatMustBeQuoted) {
    EXPECT_THAT(bash("'varnockctl registry tree HKLM/B'", "varnockctl registry tree HKLM/B"),
                ElementsAre("HKLM/Big\\ Key/"));
    EXPECT_THAT(bash("'varnockctl registry tree HKLM/Big\\ Key/'",
                     "varnockctl registry tree 'HKLM/Big\\ Key/'"),
                ElementsAre("HKLM/Big\\ Key/Inner/"));
    EXPECT_THAT(
        bash("\"varnockctl registry tree 'HKLM/Big \"", "varnockctl registry tree \"'HKLM/Big \""),
        ElementsAre("HKLM/Big Key/"));
}

TEST(Completion, LeavesFilesToBash) {
    EXPECT_THAT(bash("'varnockctl registry check n'", "varnockctl registry check n"),
                testing::UnorderedElementsAre("nested", "notes.txt"));
    EXPECT_THAT(bash("'varnock-agent serve --dir n'", "varnock-agent serve --dir n"),
                ElementsAre("nested"));
}

/// What zsh would add: the builtin is replaced by a function that prints the list it names.
std::vector<std::string> zsh(const std::string& words) {
    return Shell().run({"zsh", "-f"},
                       "compadd() { [[ $2 != '' ]] || print -r -- ' no blank'; "
                       "print -rl -- \"${(P@)@[-1]}\" }\n"
                       "_files() { print -r -- files \"$@\" }\n"
                       "words=(" +
                           words + ")\nCURRENT=$#words\nsource " + scriptNamed("_varnockctl") +
                           "\ntrue\n");
}

TEST(Completion, WorksInZsh) {
    if (isMissing("zsh")) {
        GTEST_SKIP() << "zsh is not installed";
    }
    EXPECT_THAT(zsh("varnockctl reg"), ElementsAre("registry"));
    EXPECT_THAT(zsh("varnockctl call getCPUBr"), ElementsAre("getCPUBrandName"));
    EXPECT_THAT(zsh("varnockctl --output=js"), ElementsAre("--output=json", "--output=jsonl"));
    EXPECT_THAT(zsh("varnockctl registry tree 'HKLM/Big\\ '"),
                ElementsAre(" no blank", "HKLM/Big Key/"));
    EXPECT_THAT(zsh("varnockctl registry check ''"), ElementsAre("files"));
    EXPECT_THAT(zsh("varnock-agent serve --dir ''"), ElementsAre("files -/"));
    EXPECT_THAT(zsh("varnock-agent se"), ElementsAre("serve"));
}

std::vector<std::string> fish(const std::string& line) {
    std::vector<std::string> texts =
        Shell().run({"fish", "--no-config"},
                    "source " + scriptNamed("varnockctl.fish") + "\ncomplete -C " + line + "\n");
    for (std::string& text : texts) {
        text.resize(std::min(text.find('\t'), text.size()));
    }
    return texts;
}

TEST(Completion, WorksInFish) {
    if (isMissing("fish")) {
        GTEST_SKIP() << "fish is not installed";
    }
    EXPECT_THAT(fish("'varnockctl reg'"), ElementsAre("registry"));
    EXPECT_THAT(fish("'varnockctl call getCPUBr'"), ElementsAre("getCPUBrandName"));
    EXPECT_THAT(fish("'varnockctl --output=js'"), ElementsAre("--output=json", "--output=jsonl"));
    EXPECT_THAT(fish("'varnockctl registry tree HKLM/Big\\\\ '"), ElementsAre("HKLM/Big Key/"));
    EXPECT_THAT(fish("'varnockctl registry check not'"), ElementsAre("notes.txt"));
    EXPECT_THAT(fish("'varnock-agent serve --dir nes'"), ElementsAre("nested/"));
    EXPECT_THAT(fish("'varnock-agent se'"), ElementsAre("serve"));
}

ProcessResult complete(std::vector<std::string> words) {
    words.insert(words.begin(), {VARNOCKCTL, "__complete", "varnockctl"});
    return runProcess(words);
}

TEST(Completion, OffersTheCabinetsAndObjectsOfTheAgent) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest& request) {
        switch (request.opcode) {
            case 0x0300:
                return AgentReply::ok(numberData(request.cabinet == 7 ? 3 : 1));
            case 0xE204:
                return AgentReply::ok(numberData(7));
            default:
                return AgentReply::status(19);
        }
    });
    EXPECT_EQ(complete({"call", "getFanName", "--cabinet", "7", "--object", ""}).out,
              "0\tfan\n1\tfan\n2\tfan\n");
    EXPECT_EQ(complete({"call", "getFanName", "--cabinet", ""}).out, "7\n");
    EXPECT_EQ(complete({"call", "getFanName", "--cabinet", "x", "--object", ""}).out, "");
}

TEST(Completion, DoesNotWaitForAStuckAgent) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::none(); });
    const ProcessResult result = complete({"call", "getFanName", "--cabinet", ""});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.status, 5);
}

TEST(Completion, IsNotASubcommandForPeople) {
    EXPECT_THAT(runProcess({VARNOCKCTL, "--help"}).out, testing::Not(HasSubstr("__complete")));
    EXPECT_THAT(complete({"__"}).out, "");
}

TEST(Completion, IsAlsoAvailableAsJson) {
    const ProcessResult result =
        runProcess({VARNOCKCTL, "-o", "jsonl", "__complete", "varnockctl", "doc"});
    EXPECT_THAT(result.out, AllOf(HasSubstr("\"text\":\"doctor\""), HasSubstr("description")));
}

}  // namespace
}  // namespace varnock::test
