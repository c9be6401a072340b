#include "tests/soak/Agent.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tests/soak/Sockets.h"
#include "transport/AgentProtocol.h"

namespace varnock::soak {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kStartTime = 30s;
constexpr auto kPoll = 5ms;
/// An agent that was stopped answers later than this only if it died.
constexpr int kAnswerTime = 10'000;

const char* const kSocketNames[] = {"ragdsj", "ragdaj", "ragdctl"};

/// True if an agent listens and answers.
bool isAnswered(const std::string& directory) {
    const Socket control = connectTo(directory + "/ragdctl");
    if (!control) {
        return false;
    }
    limitWaits(control.get(), kAnswerTime);
    return sendAll(control.get(), frameOf(R"({"verb":"status"})")) &&
           receiveFrame(control.get()).has_value();
}

pid_t peerOf(const Socket& socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size);
    return peer.pid;
}

/// The agent answers with the number of listeners.
Fate fateOf(const std::string& answer) {
    const std::string begin = R"({"ok":true,"listeners":)";
    if (!answer.starts_with(begin)) {
        return Fate::unknown;
    }
    return answer.compare(begin.size(), 2, "0}") == 0 ? Fate::unheard : Fate::delivered;
}

}  // namespace

Agent::Agent(std::string program, std::string directory, Findings& findings)
    : program_(std::move(program)), directory_(std::move(directory)), findings_(findings) {
    start();
}

Agent::~Agent() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
}

void Agent::start() {
    const std::string file = directory_ + "/log";
    const char* const command[] = {program_.c_str(), "serve", "--dir", directory_.c_str(), nullptr};
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int messages = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(messages, STDOUT_FILENO);
        dup2(messages, STDERR_FILENO);
        if (getppid() == parent) {
            execv(command[0], const_cast<char* const*>(command));
        }
        _exit(EXIT_FAILURE);
    }
    for (const auto end = Clock::now() + kStartTime; !isAnswered(directory_);) {
        if (Clock::now() > end || waitpid(process_, nullptr, WNOHANG) != 0) {
            process_ = -1;
            throw std::runtime_error("the agent does not start: " + log());
        }
        std::this_thread::sleep_for(kPoll);
    }
}

void Agent::restart(std::chrono::milliseconds pause) {
    reap(SIGTERM);
    struct stat status {};
    for (const char* name : kSocketNames) {
        if (stat((directory_ + "/" + name).c_str(), &status) == 0) {
            findings_.add(std::string("the agent has left its socket ") + name);
        }
    }
    std::this_thread::sleep_for(pause);
    start();
}

void Agent::replaceKilled(std::chrono::milliseconds pause) {
    reap(SIGKILL);
    std::this_thread::sleep_for(pause);
    start();
}

void Agent::freeze(std::chrono::milliseconds pause) {
    ::kill(process_, SIGSTOP);
    std::this_thread::sleep_for(pause);
    ::kill(process_, SIGCONT);
}

/// Ends the process with a signal. Any other end is a finding.
void Agent::reap(int signal) {
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) == 0) {
        ::kill(process_, signal);
        waitpid(process_, &status, 0);
        const bool isExpected = signal == SIGKILL
                                    ? WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL
                                    : WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (!isExpected) {
            findings_.add("the agent ended with wait status " + std::to_string(status) +
                          " after signal " + std::to_string(signal) + ": " + log());
        }
    } else {
        findings_.add("the agent ended by itself with wait status " + std::to_string(status) +
                      ": " + log());
    }
    process_ = -1;
}

/// The end of what the agents have said.
std::string Agent::log() const {
    std::ifstream messages(directory_ + "/log");
    const std::string text{std::istreambuf_iterator<char>(messages), {}};
    constexpr std::size_t kShown = 2000;
    return text.substr(text.size() > kShown ? text.size() - kShown : 0);
}

void pushEvent(const std::string& directory, EventLedger& ledger, Random& random) {
    const Socket control = connectTo(directory + "/ragdctl");
    if (!control) {
        return;
    }
    limitWaits(control.get(), kAnswerTime);
    const std::string name = random.oneIn(2) ? "systemMessageLog" : "driverMonitorLog";
    const std::string number = std::to_string(ledger.begin(peerOf(control)));
    const bool isSent = sendAll(control.get(), frameOf(R"({"verb":"event","name":")" + name +
                                                       R"(","number":)" + number + "}"));
    const auto answer = isSent ? receiveFrame(control.get()) : std::nullopt;
    ledger.end(answer ? fateOf(textOf(*answer)) : Fate::unknown);
}

}  // namespace varnock::soak
