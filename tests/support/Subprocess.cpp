#include "tests/support/Subprocess.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/ProcessTexts.h"
#include "tests/support/SystemFailure.h"

namespace varnock::test {
namespace {

struct Pipe {
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throwSystemError("pipe2");
        }
    }
    int ends[2];
};

/// Appends the available bytes; false at the end.
bool drain(int descriptor, std::string& text) {
    char buffer[65536];
    const ssize_t got = read(descriptor, buffer, sizeof buffer);
    if (got > 0) {
        text.append(buffer, static_cast<size_t>(got));
    }
    return got > 0 || (got < 0 && errno == EINTR);
}

}  // namespace

Subprocess::Subprocess(const std::vector<std::string>& command, const Environment& environment) {
    // Built before the fork, because the child must not allocate.
    const std::vector<std::string> variables = environmentWith(environment);
    const std::vector<char*> arguments = pointersTo(command);
    const std::vector<char*> environmentPointers = pointersTo(variables);
    const Pipe out;
    const Pipe err;
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0) {
        throwSystemError("fork");
    }
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(127);
        }
        dup2(out.ends[1], STDOUT_FILENO);
        dup2(err.ends[1], STDERR_FILENO);
        execvpe(arguments[0], arguments.data(), environmentPointers.data());
        _exit(127);
    }
    close(out.ends[1]);
    close(err.ends[1]);
    out_ = out.ends[0];
    err_ = err.ends[0];
}

Subprocess::~Subprocess() {
    if (!ended_) {
        kill(pid_, SIGKILL);
        wait();
    }
}

void Subprocess::signal(int number) const {
    if (!ended_) {
        kill(pid_, number);
    }
}

bool Subprocess::readSome() {
    pollfd watched[] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
    if (poll(watched, 2, -1) < 0) {
        return errno == EINTR;
    }
    for (auto [ready, descriptor, text] : {std::tuple{watched[0].revents, &out_, &result_.out},
                                           std::tuple{watched[1].revents, &err_, &result_.err}}) {
        if (ready != 0 && !drain(*descriptor, *text)) {
            close(*descriptor);
            *descriptor = -1;
        }
    }
    return out_ >= 0 || err_ >= 0;
}

bool Subprocess::waitFor(std::string_view text, const int& descriptor, const std::string& got) {
    while (got.find(text) == std::string::npos) {
        if (descriptor < 0 || !readSome()) {
            return got.find(text) != std::string::npos;
        }
    }
    return true;
}

const ProcessResult& Subprocess::wait() {
    if (ended_) {
        return result_;
    }
    while ((out_ >= 0 || err_ >= 0) && readSome()) {
    }
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    ended_ = true;
    result_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result_;
}

ProcessResult runProcess(const std::vector<std::string>& command,
                         const Subprocess::Environment& environment) {
    Subprocess process(command, environment);
    return process.wait();
}

}  // namespace varnock::test
