#pragma once

#include <unistd.h>

#include <filesystem>
#include <initializer_list>
#include <set>
#include <string>

#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {

inline void writeScript(const std::string& path, const std::string& text) {
    writeFile(path, "#!/bin/bash\n" + text);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

/// A copy of the repository in which ./dev runs without its slow steps and without the network: the
/// builds for build/release and build/dev are replaced by the build of these tests, ctest runs
/// nothing, and every Debian package appears to be installed. Each replaced step is recorded.
class DevTree {
    TemporaryDirectory directory_;  ///< before what is named after it

  public:
    DevTree() {
        namespace fs = std::filesystem;
        fs::create_directories(file("clone/build"));
        fs::create_directories(file("stubs"));
        fs::create_directories(file("home"));
        for (const auto& entry : fs::directory_iterator(SOURCE_TREE)) {
            const fs::path name = entry.path().filename();
            // ./dev changes to the folder of its own file, so that file must be a copy.
            if (name == "dev") {
                fs::copy_file(entry.path(), file("clone/dev"));
            } else if (name != "build" && name != ".git") {
                fs::create_symlink(entry.path(), fs::path(file("clone")) / name);
            }
        }
        fs::create_directory_symlink(BUILD_TREE, file("clone/build/release"));
        fs::create_directory_symlink(BUILD_TREE, file("clone/build/dev"));

        stub("dpkg-query", "printf installed");
        stub("ctest", record);
        stub("cmake",
             "case \"$1 ${2-}\" in\n"
             "  '--preset '*) " +
                 record +
                 " ;;\n"
                 "  '--build build/release' | '--build build/dev') " +
                 record +
                 "; printf '%b' \"${BUILD_OUTPUT-}\" ;;\n"
                 "  *) exec " CMAKE_PROGRAM
                 " \"$@\" ;;\n"
                 "esac\n");
        for (const char* name : {"apt-get", "sudo"}) {
            stub(name, record + "; exit 1");
        }
    }

    std::string file(const std::string& name) const { return directory_.file(name); }
    std::string clone(const std::string& name = "") const { return file("clone/" + name); }

    /// Adds a program that takes precedence over the machine's programs.
    void stub(const std::string& name, const std::string& text) const {
        writeScript(file("stubs/" + name), text + "\n");
    }
    /// The command of a stub that records its command line in calls().
    const std::string record = "printf '%s %s\\n' \"${0##*/}\" \"$*\" >>'" + file("calls") + "'";
    std::string calls() const {
        return std::filesystem::exists(file("calls")) ? readFile(file("calls")) : "";
    }

    Subprocess::Environment environment() const {
        return {{"PATH", file("stubs") + ":" + getenv("PATH")},
                {"HOME", file("home")},
                {"TERM", "xterm"},
                {"NO_COLOR", ""},
                {"VARNOCK_TEST_KERNEL", "/dev/null"},
                {"VARNOCK_TEST_PROMETHEUS", "/nonexistent"}};
    }
    /// Runs a bash command line in the clone, without any of the library's variables.
    ProcessResult run(const std::string& command, Subprocess::Environment more = {}) const {
        more.merge(environment());
        return runProcess({"bash", "-c", "unset \"${!QX_@}\"; cd \"$0\" && " + command, clone()},
                          more);
    }

    /// Everything below a folder of directory().
    std::set<std::string> tree(const std::string& folder) const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(file(folder))) {
            names.insert(entry.path().lexically_relative(file(folder)));
        }
        return names;
    }
};

}  // namespace varnock::test
