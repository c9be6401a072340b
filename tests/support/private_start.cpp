// private_start PROGRAM [ARGUMENT...]: runs a test program with private directories, so that it
// touches no file of the machine. They are removed when it has ended.
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/PrivateStart.h"

namespace {

namespace fs = std::filesystem;

constexpr int kCannotStart = 125;

volatile sig_atomic_t program = 0;

void passOn(int number) {
    if (program > 0) {
        kill(static_cast<pid_t>(program), number);
    }
}

[[noreturn]] void fail(const std::string& what, int error) {
    throw std::system_error(error, std::generic_category(), what);
}

/// The directories, until the end of the scope.
class Directories {
  public:
    Directories() {
        std::string name = (fs::temp_directory_path() / "vt-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            fail(name, errno);
        }
        root_ = name;
        for (const char* part : {"system", "trace", "sockets", "home", "tmp"}) {
            fs::create_directory(root_ / part);
        }
        // Other users must be able to reach files below that a test makes accessible.
        for (const fs::path& path : {root_, root_ / "tmp"}) {
            fs::permissions(path,
                            fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
        }
    }
    ~Directories() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    Directories(const Directories&) = delete;
    Directories& operator=(const Directories&) = delete;

    std::string part(const char* name) const { return root_ / name; }

  private:
    fs::path root_;
};

/// The settings of the user would influence the test.
void forgetSettings() {
    std::vector<std::string> names;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string name(*entry, strcspn(*entry, "="));
        if (name.starts_with("QX_") || name == "TraceFileLimit") {
            names.push_back(name);
        }
    }
    for (const std::string& name : names) {
        unsetenv(name.c_str());
    }
}

void describe(const Directories& directories) {
    forgetSettings();
    setenv("QX_SYSTEM_DIR", directories.part("system").c_str(), 1);
    setenv("QX_LOG_RINGBUF_DIR", directories.part("trace").c_str(), 1);
    setenv("QX_RAGD_SOCKET_DIR", directories.part("sockets").c_str(), 1);
    setenv("HOME", directories.part("home").c_str(), 1);
    setenv("TMPDIR", directories.part("tmp").c_str(), 1);
    setenv(VARNOCK_PRIVATE_DIRECTORY, directories.part("").c_str(), 1);
}

int run(char** command) {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        fail("fork", errno);
    }
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() == parent) {
            execv(command[0], command);
        }
        perror(command[0]);
        _exit(kCannotStart);
    }
    program = child;
    // A terminal also sends these to the program.
    signal(SIGINT, SIG_IGN);
    signal(SIGQUIT, SIG_IGN);
    signal(SIGTERM, passOn);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

/// Ends like the program, so that the caller sees the signal that killed it.
int endAs(int status) {
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status);
    }
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
    return kCannotStart;
}

int runPrivately(char** command) {
    const Directories directories;
    describe(directories);
    return run(command);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 2) {
        fprintf(stderr, "usage: private_start PROGRAM [ARGUMENT...]\n");
        return kCannotStart;
    }
    return endAs(runPrivately(argv + 1));
} catch (const std::exception& failure) {
    fprintf(stderr, "private_start: %s\n", failure.what());
    return kCannotStart;
}
