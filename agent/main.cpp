// The program varnock-agent.
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/CommandLine.h"
#include "agent/Ctl.h"
#include "agent/Run.h"
#include "agent/Serve.h"
#include "agent/host/HostMachine.h"
#include "runtime/StartMode.h"
#include "tools/Console.h"
#include "tools/LibraryTrace.h"

/// The provider that the agent serves writes to the trace file; the agent's own library must not.
constinit const varnock::StartMode varnock::startMode = varnock::StartMode::withoutFiles;

namespace {

using namespace varnock::agent;

constexpr int kCannotStart = 1;
constexpr int kUsage = 2;
constexpr int kSignalled = 128;

/// Prints the output of a command and returns its exit status.
[[nodiscard]] int printed(std::string_view text) {
    return varnock::console::finishOutput("varnock-agent", text) ? EXIT_SUCCESS
                                                                 : varnock::console::kOutputLost;
}

/// Help and version go to standard output, everything else to standard error.
[[nodiscard]] int print(const varnock::Explanation& explanation) {
    if (!explanation.isMistake) {
        return printed(explanation.text);
    }
    varnock::console::say("varnock-agent", explanation.text);
    varnock::console::say("Run with --help for more information.");
    return kUsage;
}

[[nodiscard]] int start(const CommandLine& line) {
    HostMachine machine;
    if (line.task == CommandLine::Task::serve) {
        return serve(machine, {.directory = line.directory, .mode = line.mode});
    }
    RunOptions run{.command = line.words, .directory = {}, .mode = line.mode, .keep = line.keep};
    if (!line.directory.empty()) {
        run.directory = line.directory;
    }
    return varnock::agent::run(machine, run);
}

/// A signal ends the command with an exit status, even if the agent is stuck.
void endOnSignals() {
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            action.sa_handler = [](int number) { _exit(kSignalled + number); };
            sigaction(signal, &action, nullptr);
        }
    }
}

[[nodiscard]] int control(const CommandLine& line) {
    std::string request = "status ";
    if (line.task == CommandLine::Task::event) {
        try {
            request = "event " + eventRecord(line.event);
        } catch (const std::invalid_argument& mistake) {
            varnock::console::say("varnock-agent", mistake.what());
            return kUsage;
        }
    }
    endOnSignals();
    return printed(askAgent(line.control, request));
}

[[nodiscard]] int agentMain(std::vector<std::string> arguments) {
    CommandLine line;
    if (const auto explanation = parseCommandLine(std::move(arguments), line)) {
        return print(*explanation);
    }
    return line.control.empty() ? start(line) : control(line);
}

}  // namespace

int main(int argc, char** argv) try {
    varnock::showLibraryTrace();
    return agentMain({argv + 1, argv + argc});
} catch (const std::exception& failure) {
    varnock::console::say("varnock-agent", failure.what());
    return kCannotStart;
}
