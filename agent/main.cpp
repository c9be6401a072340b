// The command line of varnock-agent.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "agent/Control.h"
#include "agent/Ctl.h"
#include "agent/Run.h"
#include "agent/Serve.h"
#include "agent/host/HostMachine.h"
#include "runtime/StartMode.h"
#include "runtime/Version.h"
#include "runtime/files/PlatformPaths.h"
#include "tools/Console.h"
#include "tools/LibraryTrace.h"

/// The provider that the agent serves writes to the trace file; the agent's own library must not.
constinit const varnock::StartMode varnock::startMode = varnock::StartMode::withoutFiles;

namespace {

using namespace varnock::agent;

constexpr int kCannotStart = 1;
constexpr int kUsage = 2;
constexpr int kSignalled = 128;
constexpr unsigned kPermissionBits = 0777;
/// Where programs without QX_RAGD_SOCKET_DIR look for the management agent.
constexpr const char* kProductionDirectory = varnock::kDefaultSocketDirectory;

struct Options {
    EventWords event;
    std::string control;
    bool host = false;
    std::string directory;
    bool production = false;
    std::string mode = "600";
    bool keep = false;
};

mode_t modeOf(const std::string& text) {
    return static_cast<mode_t>(std::stoul(text, nullptr, 8) & kPermissionBits);
}

[[nodiscard]] std::string isMode(const std::string& text) {
    const bool octal = !text.empty() && text.size() <= 4 &&
                       text.find_first_not_of("01234567") == std::string::npos &&
                       std::stoul(text, nullptr, 8) <= kPermissionBits;
    return octal ? "" : "the mode must be octal and at most 777, not \"" + text + "\"";
}

void addCommonOptions(CLI::App& command, Options& options) {
    command.add_flag("--host", options.host, "answer for this machine (the default)");
    command.add_option("--mode", options.mode, "octal permissions of the sockets")
        ->check(isMode)
        ->default_str("600");
}

/// The directory of the management agent is used only on explicit request.
CLI::Option* addPlaceOptions(CLI::App& command, Options& options, const std::string& purpose) {
    CLI::Option* directory =
        command.add_option("--dir", options.directory, purpose + " (default: QX_RAGD_SOCKET_DIR)");
    command
        .add_flag("--production", options.production,
                  std::string("use the management agent's own directory, ") + kProductionDirectory)
        ->excludes(directory);
    return directory;
}

std::string directoryFor(const CLI::App& command, const Options& options) {
    if (!options.directory.empty()) {
        return options.directory;
    }
    if (options.production) {
        return kProductionDirectory;
    }
    const char* set = secure_getenv(varnock::kSocketDirectoryVariable);
    if (set == nullptr) {
        throw CLI::ValidationError(command.get_name() +
                                   " needs --dir DIR for the directory of the sockets, or "
                                   "--production for " +
                                   kProductionDirectory);
    }
    return set;
}

/// Prints the output of a command and returns its exit status.
[[nodiscard]] int printed(std::string_view text) {
    return varnock::console::finishOutput("varnock-agent", text) ? EXIT_SUCCESS
                                                                 : varnock::console::kOutputLost;
}

/// Help and version go to standard output, everything else to standard error.
[[nodiscard]] int explainUsage(const CLI::App& app, const CLI::ParseError& failure) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = app.exit(failure, out, err);
    if (status == 0) {
        return printed(out.str());
    }
    varnock::console::say("varnock-agent", failure.what());
    varnock::console::say("Run with --help for more information.");
    return kUsage;
}

/// Removes the command after "--" from the arguments and returns it, so that it is not parsed.
std::vector<std::string> cutCommand(std::vector<std::string>& arguments) {
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    std::vector<std::string> command(mark == arguments.end() ? mark : mark + 1, arguments.end());
    arguments.erase(mark, arguments.end());
    return command;
}

[[nodiscard]] int start(const CLI::App& serving, const Options& options,
                        std::vector<std::string> words) {
    const std::string directory =
        serving.parsed() ? directoryFor(serving, options) : options.directory;
    HostMachine machine;
    const mode_t mode = modeOf(options.mode);
    if (serving.parsed()) {
        return serve(machine, {.directory = directory, .mode = mode});
    }
    RunOptions run{
        .command = std::move(words), .directory = {}, .mode = mode, .keep = options.keep};
    if (!directory.empty()) {
        run.directory = directory;
    }
    return varnock::agent::run(machine, run);
}

/// The parsers of `ctl`.
struct Controls {
    CLI::App* ctl;
    CLI::App* event;
};

Controls addControls(CLI::App& app, Options& options) {
    CLI::App* ctl = app.add_subcommand("ctl", "control a running agent");
    ctl->require_subcommand(1);
    CLI::Option* directory = addPlaceOptions(*ctl, options, "directory of the agent's sockets");
    ctl->add_option("--socket", options.control, "the agent's control socket")
        ->excludes(directory)
        ->excludes(ctl->get_option("--production"));
    CLI::App* event = ctl->add_subcommand("event", "push an event to the registered clients");
    event
        ->add_option("EVENT", options.event.event,
                     "systemMessageLog, driverMonitorLog or an operation code")
        ->required();
    CLI::Option* number = event->add_option("NUMBER", options.event.number,
                                            "data of the event, usually the number of a log entry");
    event->add_option("--text", options.event.text, "data of the event as text")->excludes(number);
    event->add_option("--ext", options.event.ext, "operation code extension");
    event->add_option("--object", options.event.object, "object id");
    event->add_option("--cabinet", options.event.cabinet, "cabinet number");
    event->fallthrough();
    ctl->add_subcommand("status", "show what the agent is doing")->fallthrough();
    return {ctl, event};
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

[[nodiscard]] int control(const Controls& controls, const Options& options) {
    const std::string socket = options.control.empty()
                                   ? directoryFor(*controls.ctl, options) + "/" + kControlSocket
                                   : options.control;
    std::string request = "status ";
    if (controls.event->parsed()) {
        try {
            request = "event " + eventRecord(options.event);
        } catch (const std::invalid_argument& mistake) {
            varnock::console::say("varnock-agent", mistake.what());
            return kUsage;
        }
    }
    endOnSignals();
    return printed(askAgent(socket, request));
}

[[nodiscard]] int agentMain(std::vector<std::string> arguments) {
    const std::vector<std::string> words = cutCommand(arguments);
    Options options;
    CLI::App app("Answers the commands of the CIM provider library on a development machine.",
                 "varnock-agent");
    app.set_help_flag("-h,--help", "print this help and exit");
    app.set_version_flag("--version", std::string("varnock-agent ") + TovQXObjectVersion,
                         "print the version and exit");
    app.require_subcommand(1);
    CLI::App* serving = app.add_subcommand("serve", "answer until a signal arrives");
    addCommonOptions(*serving, options);
    addPlaceOptions(*serving, options, "directory of the sockets");
    CLI::App* running = app.add_subcommand(
        "run", "run a command with a private agent: run [OPTIONS] -- COMMAND...");
    addCommonOptions(*running, options);
    running->add_option("--dir", options.directory,
                        "directory of the sockets (default: a private one)");
    running->add_flag("--keep", options.keep, "keep the private directory");
    const Controls controls = addControls(app, options);
    // CLI11 expects the arguments in reverse order.
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
        if (running->parsed() == words.empty()) {
            throw CLI::ValidationError(running->parsed() ? "run needs a command after --"
                                                         : "-- is valid only for run");
        }
        return controls.ctl->parsed() ? control(controls, options)
                                      : start(*serving, options, words);
    } catch (const CLI::ParseError& failure) {
        return explainUsage(app, failure);
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
