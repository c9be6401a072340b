// The program varnock-agent.
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/CommandLine.h"
#include "agent/Run.h"
#include "agent/Serve.h"
#include "agent/control/Ctl.h"
#include "agent/described/DescribedMachine.h"
#include "agent/described/ModelClocks.h"
#include "agent/host/HostMachine.h"
#include "agent/model/JsonText.h"
#include "agent/model/MachineFile.h"
#include "agent/recording/Record.h"
#include "agent/recording/ReplayMachine.h"
#include "agent/scenario/ScenarioFile.h"
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

std::unique_ptr<Machine> loadedMachine(const std::string& file) {
    SavedState state;
    loadState(file, state);
    try {
        return std::make_unique<DescribedMachine>(std::move(state), systemClock(), file);
    } catch (const std::invalid_argument& mistake) {
        throw BadMachineFile(file + ": " + mistake.what());
    }
}

/// `usual` is the described machine unless the line names one.
std::unique_ptr<Machine> machineFor(const CommandLine& line, const std::string& usual) {
    if (!line.load.empty()) {
        return loadedMachine(line.load);
    }
    if (!line.replay.empty()) {
        const auto order =
            line.isLenient ? ReplayMachine::Order::lenient : ReplayMachine::Order::strict;
        return std::make_unique<ReplayMachine>(readRecording(line.replay), order, line.replay);
    }
    const std::string& name = line.machine.empty() && !line.host ? usual : line.machine;
    if (name.empty()) {
        return std::make_unique<HostMachine>();
    }
    Document machine;
    loadMachine(machinePath(name), machine);
    return std::make_unique<DescribedMachine>(std::move(machine), systemClock(), name);
}

/// Throws BadMachineFile if the file is neither a machine nor a scenario.
void checkFile(const std::string& file) {
    const std::string text = textOfFile(file);
    Document document;
    std::string unused;
    if (JsonText(text, file).read(document, unused) && isScenario(document)) {
        static_cast<void>(readScenario(text, file));
    } else {
        readMachine(text, file, document);
    }
}

/// Shows the faults of the files.
[[nodiscard]] int check(const CommandLine& line) {
    int status = EXIT_SUCCESS;
    for (const std::string& file : line.words) {
        try {
            checkFile(file);
        } catch (const BadMachineFile& faults) {
            varnock::console::complain(std::string(faults.what()) + "\n");
            status = kCannotStart;
        }
    }
    return status;
}

[[nodiscard]] int start(const CommandLine& line) {
    std::optional<Scenario> scenario;
    if (!line.scenario.empty()) {
        scenario = loadScenario(line.scenario);
    }
    const std::unique_ptr<Machine> machine = machineFor(line, scenario ? scenario->machine : "");
    ServerOptions options{.directory = line.directory,
                          .mode = line.mode,
                          .clock = line.clock,
                          .seed = line.seed,
                          .faults = line.faults,
                          .transcript = line.transcript,
                          .scenario = std::move(scenario)};
    if (line.task == CommandLine::Task::serve) {
        return serve(*machine, std::move(options), line.readyFd);
    }
    RunOptions run{.command = line.words, .server = std::move(options), .keep = line.keep};
    return varnock::agent::run(*machine, std::move(run));
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
    endOnSignals();
    const auto patience = line.waits ? kEndlessPatience : kAgentPatience;
    const std::string answer = askAgent(line.control, line.request, patience);
    return printed(shownAnswer(line.control, answer, line.json));
}

[[nodiscard]] int agentMain(std::vector<std::string> arguments) {
    CommandLine line;
    if (const auto explanation = parseCommandLine(std::move(arguments), line)) {
        return print(*explanation);
    }
    switch (line.task) {
        case CommandLine::Task::check:
            return check(line);
        case CommandLine::Task::control:
            return control(line);
        case CommandLine::Task::record:
            return record(
                {{line.upstream, line.directory, line.mode}, line.recording, line.sanitizes},
                line.readyFd);
        default:
            return start(line);
    }
}

}  // namespace

int main(int argc, char** argv) try {
    varnock::showLibraryTrace();
    return agentMain({argv + 1, argv + argc});
} catch (const std::exception& failure) {
    varnock::console::say("varnock-agent", failure.what());
    return kCannotStart;
}
