// ./dev: its immediate answers, its installation and removal, and its output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "tests/integration/DevTree.h"
#include "tests/integration/LibraryFiles.h"

namespace varnock::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

constexpr const char* kBold = "\033[1m";

class Dev : public testing::Test {
  protected:
    /// Expects a usage error and that nothing was started.
    void expectMisused(const std::string& command, const std::string& why) {
        const ProcessResult result = tree_.run(command);
        EXPECT_EQ(result.status, 2) << command;
        EXPECT_THAT(result.err, HasSubstr(why)) << command;
        EXPECT_THAT(tree_.calls(), IsEmpty()) << command;
    }
    ProcessResult expectDone(const std::string& command) {
        const ProcessResult result = tree_.run(command);
        EXPECT_EQ(result.status, 0) << command << ": " << result.err;
        return result;
    }

    DevTree tree_;
};

TEST_F(Dev, EveryCommandTellsItsHelpWithoutPackages) {
    tree_.stub("dpkg-query", tree_.record + "; exit 1");
    const std::string list = expectDone("./dev help").out;
    const std::regex row(R"(^\./dev ([a-z]+) )", std::regex::multiline);
    std::set<std::string> commands;
    for (std::sregex_iterator match(list.begin(), list.end(), row), end; match != end; ++match) {
        commands.insert((*match)[1]);
    }
    EXPECT_THAT(commands, IsSupersetOf({"demo", "test", "install", "uninstall", "help"}));
    const std::string script = readFile(SOURCE_TREE "/dev");
    EXPECT_EQ(static_cast<std::size_t>(std::count(list.begin(), list.end(), '\n')),
              commands.size());
    for (const std::string& command : commands) {
        EXPECT_THAT(script, HasSubstr("\ncommand_" + command + "() {"));
        const std::string help = expectDone("./dev " + command + " --help").out;
        EXPECT_THAT(help, StartsWith("./dev " + command));
        EXPECT_GT(linesOf(help).size(), 1U) << command;
        EXPECT_EQ(expectDone("./dev " + command + " -h").out, help);
        EXPECT_EQ(expectDone("./dev help " + command).out, help);
    }
    EXPECT_THAT(tree_.calls(), IsEmpty());
}

TEST_F(Dev, SoaksForTheTimeGiven) {
    // As outside of a test, where the program makes its own directories.
    const ProcessResult result = expectDone("env -u VARNOCK_TEST_DIRECTORY SEED=4 ./dev soak 1");
    EXPECT_THAT(result.out, AllOf(HasSubstr("soak: 1 s with seed 4\n"),
                                  HasSubstr("dev soak: 1 s, nothing crashed")));
}

TEST_F(Dev, ATypingErrorStartsNothing) {
    expectMisused("./dev frobnicate", "unknown command: frobnicate");
    expectMisused("./dev help frobnicate", "unknown command: frobnicate");
    expectMisused("./dev demo now", "'now'");
    expectMisused("./dev clean build other", "'build other'");
    expectMisused("./dev build debug", "unknown preset: debug");
    expectMisused("./dev fuzz soon", "'soon'");
    expectMisused("./dev soak soon", "'soon'");
    expectMisused("SEED=x ./dev soak", "'x'");
    expectMisused("PRESET=release ./dev soak", "'release'");
    expectMisused("./dev install ''", "the prefix is empty");
    expectMisused("./dev install /a /b", "'/b'");
    EXPECT_TRUE(fs::exists(tree_.clone("build/release/bin")));
}

TEST_F(Dev, InstallSaysThatItMayNotWriteBeforeItBuilds) {
    writeFile(tree_.file("occupied"), "");
    // A folder of another user, one level below a prefix of this user.
    fs::create_directories(tree_.file("prefix/lib"));
    writeFile(tree_.file("prefix/lib/cmake"), "");
    for (const auto& [prefix, folder] :
         {std::pair{"occupied/prefix", "occupied"}, std::pair{"prefix", "prefix/lib/cmake"}}) {
        const ProcessResult result = tree_.run("./dev install " + tree_.file(prefix));
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("may not write to " + tree_.file(folder) + "\n"));
        EXPECT_THAT(tree_.calls(), IsEmpty());
    }
    EXPECT_THAT(tree_.tree("prefix"), ElementsAre("lib", "lib/cmake"));
}

TEST_F(Dev, ARelativePrefixIsMeantFromWhereThePersonStands) {
    fs::create_directory(tree_.file("elsewhere"));
    const std::string there = "cd ../elsewhere && ";
    EXPECT_THAT(expectDone(there + "../clone/dev install ./my/../prefix").out,
                StartsWith("dev install: installed to " + tree_.file("elsewhere/prefix") + ";"));
    EXPECT_TRUE(fs::exists(tree_.file("elsewhere/prefix/bin/varnockctl")));
    EXPECT_FALSE(fs::exists(tree_.clone("prefix")));
    expectDone(there + "../clone/dev uninstall prefix");
    EXPECT_THAT(tree_.tree("elsewhere"), IsEmpty());
}

TEST_F(Dev, UninstallRemovesWhatInstallPutThereAndNothingElse) {
    fs::create_directories(tree_.file("prefix/bin"));
    fs::create_directories(tree_.file("prefix/share/man"));
    fs::create_directories(tree_.file("prefix/include/varnock"));
    writeFile(tree_.file("prefix/include/varnock/mine.h"), "mine");
    const std::set<std::string> before = tree_.tree("prefix");

    expectDone("./dev install ../prefix");
    EXPECT_THAT(
        tree_.tree("prefix"),
        IsSupersetOf({"bin/varnockctl", "bin/varnock-agent", "lib/libvarnock_cim_provider.so.7",
                      "lib/cmake/VarnockCIM/VarnockCIMConfig.cmake",
                      "share/doc/varnock-cim-provider/README.md",
                      "share/doc/varnock-cim-provider/docs/calls.md",
                      "share/doc/varnock-cim-provider/examples/first_call.cpp",
                      "share/doc/varnock-cim-provider/examples/provider/repository.mof"}));
    writeFile(tree_.file("prefix/lib/mine"), "mine");
    // Files of an earlier version stay on the list.
    writeFile(tree_.file("prefix/lib/old"), "ours");
    const std::string list = tree_.file("prefix/share/varnock-cim-provider/installed");
    writeFile(list, readFile(list) + "lib/old\n");
    expectDone("./dev install ../prefix");

    // The result depends neither on the builds nor on the directory.
    fs::remove_all(tree_.clone("build"));
    fs::rename(tree_.file("prefix"), tree_.file("moved"));
    const ProcessResult removed = expectDone("./dev uninstall ../moved");
    EXPECT_TRUE(std::regex_match(
        removed.out, std::regex("dev uninstall: removed \\d+ files and \\d+ folders from " +
                                tree_.file("moved") + "\n")))
        << removed.out;
    EXPECT_THAT(removed.err, AllOf(HasSubstr(tree_.file("moved/lib")),
                                   HasSubstr(tree_.file("moved/include/varnock"))));
    std::set<std::string> left = before;
    left.insert({"lib", "lib/mine"});
    EXPECT_EQ(tree_.tree("moved"), left);

    const ProcessResult again = tree_.run("./dev uninstall ../moved");
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.err, HasSubstr("nothing to uninstall"));
    EXPECT_EQ(tree_.tree("moved"), left);
}

TEST_F(Dev, UninstallTakesNoListThatLeavesThePrefix) {
    fs::create_directories(tree_.file("prefix/share/varnock-cim-provider"));
    writeFile(tree_.file("mine"), "mine");
    writeFile(tree_.file("prefix/mine"), "mine");
    for (const std::string& entry :
         {std::string("../mine"), tree_.file("mine"), std::string("a/../../mine"), std::string()}) {
        writeFile(tree_.file("prefix/share/varnock-cim-provider/installed"),
                  "mine\n" + entry + "\n");
        const ProcessResult result = tree_.run("./dev uninstall ../prefix");
        EXPECT_EQ(result.status, 1) << entry;
        EXPECT_THAT(result.err, HasSubstr("not below"));
        EXPECT_TRUE(fs::exists(tree_.file("mine")));
        EXPECT_TRUE(fs::exists(tree_.file("prefix/mine")));
    }
}

TEST_F(Dev, AnInstalledToolStartsFromAnyPrefixWithTheLibraryBesideIt) {
    expectDone("./dev install ../prefix");
    fs::rename(tree_.file("prefix"), tree_.file("moved"));
    for (const auto& program : fs::directory_iterator(tree_.file("moved/bin"))) {
        const std::string path = program.path();
        EXPECT_EQ(runProcess({"env", "-i", path, "--version"}).status, 0) << path;
        const std::string loaded = runProcess({"env", "-i", "LD_TRACE_LOADED_OBJECTS=1", path}).out;
        for (const char* library : {"libvarnock_cim_provider.so.7", "libvarnock_cimple.so.7"}) {
            EXPECT_THAT(loaded, HasSubstr(std::string(library) + " => " + tree_.file("moved/")));
        }
    }
    const std::string agent = tree_.file("moved/bin/varnock-agent");
    const ProcessResult inventory = runProcess({"env", "-i", agent, "run", "--host", "--",
                                                tree_.file("moved/bin/varnockctl"), "inventory"});
    EXPECT_EQ(inventory.status, 0) << inventory.err;
    EXPECT_THAT(inventory.out, HasSubstr("processors"));
}

TEST_F(Dev, LinksOfTheInstalledDocumentsHold) {
    expectDone("./dev install ../prefix");
    const fs::path documents = tree_.file("prefix/share/doc/varnock-cim-provider");
    const std::regex link(R"(\]\(([^)#:]+)[^):]*\))");
    int links = 0;
    for (const auto& entry : fs::recursive_directory_iterator(documents)) {
        if (entry.path().extension() != ".md") {
            continue;
        }
        const std::string text = readFile(entry.path());
        for (std::sregex_iterator match(text.begin(), text.end(), link), end; match != end;
             ++match) {
            EXPECT_TRUE(fs::exists(entry.path().parent_path() / (*match)[1].str()))
                << entry.path() << ": " << (*match)[1];
            ++links;
        }
    }
    EXPECT_GT(links, 10);
}

TEST_F(Dev, OnlyATerminalGetsColourAndOnlyIfItIsWanted) {
    const ProcessResult piped = expectDone("./dev build");
    EXPECT_THAT(piped.out + piped.err, Not(HasSubstr("\033")));
    EXPECT_THAT(piped.err, HasSubstr("Building build/dev"));

    const std::string terminal = "script -qec './dev build' /dev/null";
    EXPECT_THAT(tree_.run(terminal).out, HasSubstr(std::string(kBold) + "Building build/dev"));
    EXPECT_THAT(tree_.run(terminal, {{"NO_COLOR", "1"}}).out,
                AllOf(HasSubstr("Building build/dev"), Not(HasSubstr(kBold))));
    EXPECT_THAT(tree_.run(terminal, {{"TERM", "dumb"}}).out, Not(HasSubstr("\033")));
}

TEST_F(Dev, APipeGetsALineOfTheBuildNowAndThenAndEveryMessage) {
    std::string output;
    for (int step = 1; step <= 999; ++step) {
        output += "[" + std::to_string(step) + "/999] Building CXX object\\n";
        if (step == 500) {
            output += "a.cpp:1:1: warning: odd\\n  1 | [[a\\n";
        }
    }
    const ProcessResult result = tree_.run("./dev build", {{"BUILD_OUTPUT", output}});
    EXPECT_THAT(result.out, HasSubstr("[1/999] Building CXX object\n"));
    EXPECT_THAT(result.out, HasSubstr("\na.cpp:1:1: warning: odd\n  1 | [[a\n"));
    EXPECT_LT(linesOf(result.out).size(), 100U);
}

TEST_F(Dev, AFailedBuildEndsTheCommand) {
    tree_.stub("cmake", "case $1 in --build) echo '[1/2] FAILED: a.o'; echo error; exit 1 ;; esac");
    for (const char* command : {"./dev build", "./dev demo", "./dev install ../prefix"}) {
        const ProcessResult result = tree_.run(command);
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_THAT(result.out + result.err, HasSubstr("error\n"));
        EXPECT_THAT(result.out, Not(HasSubstr("dev "))) << command;
    }
}

TEST_F(Dev, PackagesShowThatTheyAreOnTheirWay) {
    tree_.stub("dpkg-query", "exit 1");
    tree_.stub("sudo", "exec \"$@\"");
    tree_.stub("apt-get", "echo \"Get: something for $1\"");
    const ProcessResult result = expectDone("./dev build");
    EXPECT_THAT(result.err,
                AllOf(HasSubstr("Installing g++"), HasSubstr("Get: something for install")));
    EXPECT_THAT(result.err, Not(HasSubstr("\033")));
    tree_.stub("apt-get", "exit 100");
    EXPECT_NE(tree_.run("./dev build").status, 0);
}

TEST_F(Dev, WarningsAreErrorsForDevelopersAlone) {
    const std::vector<std::pair<std::vector<std::string>, bool>> cases{
        {{"--preset", "release"}, false},
        {{"--preset", "dev"}, true},
        {{"-G", "Ninja", "-DVARNOCK_BUILD_TESTS=OFF"}, false}};
    for (const auto& [options, areErrors] : cases) {
        const std::string build = tree_.file("build" + options.back());
        std::vector<std::string> command{CMAKE_PROGRAM, "-S", SOURCE_TREE, "-B", build};
        command.insert(command.end(), options.begin(), options.end());
        const ProcessResult configured = runProcess(command);
        ASSERT_EQ(configured.status, 0) << configured.err;
        const std::string commands = readFile(build + "/compile_commands.json");
        EXPECT_EQ(commands.find("-Werror") != commands.npos, areErrors) << options.back();
    }
    // The other commands need software that is not on every machine.
    const ProcessResult presets = runProcess(
        {"jq", "-r", ".configurePresets[] | select(.hidden | not) | .name + \" \" + .inherits",
         SOURCE_TREE "/CMakePresets.json"});
    EXPECT_THAT(linesOf(presets.out), Contains("release base"));
    for (const std::string& preset : linesOf(presets.out)) {
        if (preset != "release base") {
            EXPECT_THAT(preset, EndsWith(" development"));
        }
    }
}

}  // namespace
}  // namespace varnock::test
