#include "agent/Run.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "agent/DescriptorLimit.h"
#include "agent/EventLoop.h"
#include "agent/PrivateHome.h"
#include "agent/Signals.h"
#include "tools/Console.h"

namespace varnock::agent {
namespace {

namespace fs = std::filesystem;

constexpr int kNotFound = 127;
constexpr int kNotRunnable = 126;
constexpr int kSignalled = 128;
constexpr std::array kForwarded = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2};

std::vector<char*> pointers(const std::vector<std::string>& words) {
    std::vector<char*> result;
    result.reserve(words.size() + 1);
    for (const std::string& word : words) {
        result.push_back(const_cast<char*>(word.c_str()));
    }
    result.push_back(nullptr);
    return result;
}

/// Runs in the child. Returns only if the command cannot be run, with the errno.
[[nodiscard]] int execute(const std::vector<std::string>& command, const sigset_t& mask,
                          const MoreDescriptors& descriptors, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        return ESRCH;
    }
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    descriptors.restore();
    const std::vector<char*> arguments = pointers(command);
    execvp(arguments[0], arguments.data());
    return errno;
}

/// The command's process and its exit status.
struct Child {
    pid_t pid = -1;
    int status = 0;
};

/// Returns the process id, or the negative errno of a command that cannot be run.
[[nodiscard]] pid_t start(const std::vector<std::string>& command, const BlockedSignals& blocked,
                          const MoreDescriptors& descriptors) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid == 0) {
        const int error = execute(command, blocked.before(), descriptors, parent);
        [[maybe_unused]] const ssize_t told = write(writeEnd.get(), &error, sizeof error);
        _exit(kNotRunnable);
    }
    writeEnd.reset();
    int error = 0;
    ssize_t count = -1;
    do {
        count = read(readEnd.get(), &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    if (count != sizeof error) {
        return pid;
    }
    waitpid(pid, nullptr, 0);
    return -error;
}

int onExit(sd_event_source* source, const siginfo_t* info, void* child) {
    auto* ended = static_cast<Child*>(child);
    ended->status = info->si_code == CLD_EXITED ? info->si_status : kSignalled + info->si_status;
    return sd_event_exit(sd_event_source_get_event(source), 0);
}

int onSignal(sd_event_source*, const signalfd_siginfo* info, void* child) {
    // A signal of the terminal goes to the whole foreground group: the command already has it.
    if (info->ssi_code != SI_KERNEL) {
        kill(static_cast<Child*>(child)->pid, static_cast<int>(info->ssi_signo));
    }
    return 0;
}

void watch(sd_event* loop, Child& child) {
    checked(sd_event_add_child(loop, nullptr, child.pid, WEXITED, onExit, &child),
            "cannot watch the command");
    for (const int signal : kForwarded) {
        checked(sd_event_add_signal(loop, nullptr, signal, onSignal, &child),
                "cannot take signals");
    }
}

[[nodiscard]] int runBeside(sd_event* loop, const std::vector<std::string>& command,
                            const BlockedSignals& blocked, const MoreDescriptors& descriptors) {
    Child child;
    child.pid = start(command, blocked, descriptors);
    if (child.pid < 0) {
        const int error = -child.pid;
        console::say("varnock-agent", command[0] + ": " + std::strerror(error));
        return error == ENOENT || error == ENOTDIR ? kNotFound : kNotRunnable;
    }
    watch(loop, child);
    checked(sd_event_loop(loop), "event loop");
    return child.status;
}

}  // namespace

int run(Machine& machine, RunOptions options) {
    PrivateHome home;
    const BlockedSignals blocked{SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGCHLD};
    if (options.keep) {
        home.keep();
        console::say("varnock-agent: keeping " + home.path().native());
    }
    // Absolute, because the command may change its directory.
    ServerOptions serving = std::move(options.server);
    const std::string sockets =
        fs::absolute(serving.directory.empty() ? home.path() : fs::path(serving.directory));
    serving.directory = sockets;
    const MoreDescriptors descriptors;
    const EventLoop loop = newEventLoop();
    Server server(loop.get(), machine, std::move(serving));
    home.setEnvironment(sockets);
    const int status = runBeside(loop.get(), options.command, blocked, descriptors);
    // What the command has not done so far it will not do.
    server.counts().endWaits();
    const ScenarioPlayer* scenario = server.scenario();
    const bool hasFailed = scenario != nullptr && !scenario->failures().empty();
    return status == 0 && hasFailed ? kScenarioFailed : status;
}

}  // namespace varnock::agent
