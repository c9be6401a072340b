// What a person sees in a terminal: screens captured from tmux.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include "tests/integration/LibraryFiles.h"

namespace varnock::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

bool hasTmux() {
    return runProcess({"sh", "-c", "command -v tmux"}).status == 0;
}

/// A terminal of a given width, with a server of its own.
class CapturedScreen : public testing::Test {
  protected:
    void SetUp() override {
        if (!hasTmux()) {
            GTEST_SKIP() << "there is no tmux, whose screens are compared";
        }
        // tmux starts the user's login shell otherwise, and some accounts have one that refuses.
        files_.settings["SHELL"] = "/bin/sh";
    }
    void TearDown() override { tmux({"kill-server"}); }

    ProcessResult tmux(std::vector<std::string> arguments) const {
        const std::vector<std::string> server{"tmux", "-u",       "-S", files_.file("tmux"),
                                              "-f",   "/dev/null"};
        arguments.insert(arguments.begin(), server.begin(), server.end());
        return runProcess(arguments, files_.environment());
    }
    std::string screen(int width, const std::string& locale, const std::string& arguments,
                       bool withColours = false) {
        return screenOf(width, "env LC_ALL=" + locale + " " + VARNOCKCTL + " " + arguments,
                        withColours);
    }
    /// The screen after a command, without the empty lines at its end.
    std::string screenOf(int width, const std::string& command, bool withColours = false) {
        const std::string name = "s" + std::to_string(++screens_);
        const ProcessResult started =
            tmux({"new-session", "-d", "-s", name, "-x", std::to_string(width), "-y", "60",
                  command + "; echo; echo '" + std::string(kEnd) + "'; read -r end"});
        EXPECT_EQ(started.status, 0) << started.err;
        std::vector<std::string> capture{"capture-pane", "-p", "-t", name};
        if (withColours) {
            capture.emplace_back("-e");
        }
        ProcessResult captured;
        std::size_t end;
        do {  // tmux reads what the program prints when it comes to it
            captured = tmux(capture);
            end = captured.out.find(kEnd);
        } while (captured.status == 0 && end == std::string::npos);
        EXPECT_EQ(captured.status, 0) << captured.err;
        std::string shown = captured.out.substr(0, end);
        shown.erase(shown.find_last_not_of('\n') + 1);
        return shown + "\n";
    }

    LibraryFiles files_;

  private:
    static constexpr const char* kEnd = "(end of the screen)";
    int screens_ = 0;
};

TEST_F(CapturedScreen, AListFitsIntoEightyColumns) {
    EXPECT_EQ(
        screen(80, "C.UTF-8", "list FanFail"),
        "name                       options                          opcode ext    result\n"
        "getConfFanFailBehavior     --cabinet N --object N           0xE001 0x0071 byte\n"
        "getConfFanFailShutdownDel\u2026 --cabinet N --object N           0xE001 0x0072 word\n"
        "setConfFanFailBehavior     --cabinet N --object N --value V 0xE002 0x0071 none\n"
        "setConfFanFailShutdownDel\u2026 --cabinet N --object N --value V 0xE002 0x0072 none\n");
}

TEST_F(CapturedScreen, AListFitsIntoFortyColumnsOfAscii) {
    EXPECT_EQ(screen(40, "C", "list FanFail"),
              "name   options      opcode ext    result\n"
              "get... --cabinet... 0xE001 0x0071 byte\n"
              "get... --cabinet... 0xE001 0x0072 word\n"
              "set... --cabinet... 0xE002 0x0071 none\n"
              "set... --cabinet... 0xE002 0x0072 none\n");
}

TEST_F(CapturedScreen, WideShowsAll) {
    EXPECT_THAT(screen(80, "C.UTF-8", "--wide list FanFail"),
                HasSubstr("setConfFanFailShutdownDelay --cabinet N --object N --value V"));
}

TEST_F(CapturedScreen, LongValuesContinueBelowBetweenWords) {
    EXPECT_THAT(screen(40, "C.UTF-8", "describe getUmDiffRabVersion"),
                StartsWith("name                   getUmDiffRabVersi\n"
                           "                       on\n"
                           "meaning                Version of the\n"
                           "                       platform package\n"
                           "                       that holds an\n"
                           "                       available update.\n"
                           "about                  available update\n"));
}

TEST_F(CapturedScreen, AProblemIsRed) {
    EXPECT_THAT(screen(80, "C.UTF-8", "doctor", true), HasSubstr("\x1B[31mproblem"));
}

TEST_F(CapturedScreen, NothingIsRedWhereColoursAreUnwanted) {
    files_.settings["NO_COLOR"] = "1";
    EXPECT_THAT(screen(80, "C.UTF-8", "doctor", true),
                AllOf(HasSubstr("problem"), Not(HasSubstr("\x1B[31m"))));
}

/// The text block of the README that begins with a command line, split after this line.
std::pair<std::string, std::string> screenOfTheReadme(const std::string& command) {
    const std::string readme = readFile(SOURCE_TREE "/README.md");
    const std::string opening = "```text\n$ " + command;
    const std::size_t begin = readme.find(opening) + opening.size() - command.size();
    const std::size_t screen = readme.find('\n', begin) + 1;
    return {readme.substr(begin, screen - begin - 1),
            readme.substr(screen, readme.find("```", screen) - screen)};
}

TEST_F(CapturedScreen, TheReadmeShowsTheSensorsOfADegradedMachine) {
    const auto [command, shown] = screenOfTheReadme("varnock-agent run --machine degraded");
    const std::string programs = std::filesystem::path(VARNOCKCTL).parent_path();
    EXPECT_EQ(screenOf(80, "env LC_ALL=C.UTF-8 PATH=" + programs + ":/usr/bin:/bin " + command),
              shown);
    EXPECT_THAT(shown, AllOf(HasSubstr("FAN 3 SYS    failed"), HasSubstr("PSU 2        failed")));
}

}  // namespace
}  // namespace varnock::test
