// The commands of the README, in their order, in a fresh clone. DevTree replaces the builds of
// ./dev demo, test and install, and the tests themselves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/DevTree.h"
#include "tests/integration/LibraryFiles.h"
#include "tests/support/Sanitizers.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;

/// The shell blocks of a page.
std::string commandsOf(const std::string& page) {
    std::string commands;
    bool isCommand = false;
    for (const std::string& line : linesOf(readFile(page))) {
        if (line.rfind("```", 0) == 0) {
            isCommand = line == "```sh";
        } else if (isCommand) {
            commands += line + "\n";
        }
    }
    return commands;
}

TEST(Readme, EveryCommandWorksWhenTypedInOrder) {
    if (kSanitized || kCountsCoverage) {
        GTEST_SKIP() << "the reader's program is built without what this library is built with";
    }
    const DevTree tree;
    // ./dev installs ninja but not make.
    tree.stub("make", tree.record + "; exit 1");
    // Runs in each shell, also in nested ones: a shell ends with the first command that fails, and
    // commands that run until Ctrl-C end by themselves.
    writeFile(tree.file("shell"),
              "set -eE\n"
              "trap 'echo \"README: failed: $BASH_COMMAND\" >&2' ERR\n"
              "varnockctl() {\n"
              "  case \" $* \" in\n"
              "    ' watch ' | *' --follow '*) command varnockctl --timeout 0.2 \"$@\" ;;\n"
              "    *) command varnockctl \"$@\" ;;\n"
              "  esac\n"
              "}\n");
    const std::string commands = commandsOf(SOURCE_TREE "/README.md");
    writeFile(tree.file("typed"), commands + "echo README: the end\n");
    // Through a pipe, as from a terminal: each shell reads its lines and leaves the others.
    const ProcessResult result =
        tree.run("cat ../typed | bash", {{"BASH_ENV", tree.file("shell")}});

    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("README: the end\n"));
    // Expected commands were run.
    for (const char* command :
         {"./dev demo", "./dev test", "varnockctl watch", "varnockctl trace", "./dev install"}) {
        EXPECT_THAT(commands, HasSubstr(command));
    }
    EXPECT_THAT(result.out, HasSubstr("dev demo: done"));
    EXPECT_THAT(result.out, HasSubstr("Kolm::getNumberCPUs(0)"));
    EXPECT_THAT(result.out, HasSubstr("dev install: installed to " + tree.file("home/.local")));
    EXPECT_THAT(tree.calls(), HasSubstr("\nctest "));
}

}  // namespace
}  // namespace varnock::test
