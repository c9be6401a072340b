// The command line of varnock-agent.
#include <CLI/CLI.hpp>
#include <cstdio>
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

// The provider that the agent serves writes to the trace file; the agent's own library must not.
constinit const varnock::StartMode varnock::startMode = varnock::StartMode::kWithoutFiles;

namespace {

using namespace varnock::agent;

constexpr int kCannotStart = 1;
constexpr int kUsage = 2;
constexpr unsigned kPermissionBits = 0777;

struct Options {
    EventWords event;
    std::string control;
    bool host = false;
    std::string directory;
    std::string mode = "600";
    bool keep = false;
};

mode_t modeOf(const std::string& text) {
    return static_cast<mode_t>(std::stoul(text, nullptr, 8) & kPermissionBits);
}

std::string isMode(const std::string& text) {
    const bool octal = !text.empty() && text.size() <= 4 &&
                       text.find_first_not_of("01234567") == std::string::npos &&
                       std::stoul(text, nullptr, 8) <= kPermissionBits;
    return octal ? "" : "an octal mode of at most 777 is wanted, not \"" + text + "\"";
}

void addCommonOptions(CLI::App& command, Options& options) {
    command.add_flag("--host", options.host, "Answer for this machine (the default)");
    command.add_option("--mode", options.mode, "Permissions of the sockets, octal")
        ->check(isMode)
        ->default_str("600");
}

std::string defaultDirectory() {
    const char* set = secure_getenv("QX_RAGD_SOCKET_DIR");
    return set != nullptr ? set : "/dev";
}

// Help and version go to standard output, everything else to standard error: through the C streams,
// since std::cerr still writes to the stream that stderr was at load.
int explainUsage(const CLI::App& app, const CLI::ParseError& failure) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = app.exit(failure, out, err);
    std::fputs(out.str().c_str(), stdout);
    std::fputs(err.str().c_str(), stderr);
    return status == 0 ? EXIT_SUCCESS : kUsage;
}

// Cuts the words of a command after "--" from the arguments. They are nobody's options.
std::vector<std::string> cutCommand(std::vector<std::string>& arguments) {
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    std::vector<std::string> command(mark == arguments.end() ? mark : mark + 1, arguments.end());
    arguments.erase(mark, arguments.end());
    return command;
}

int start(const CLI::App& serving, const Options& options, std::vector<std::string> words) {
    HostMachine machine;
    const mode_t mode = modeOf(options.mode);
    if (serving.parsed()) {
        const std::string directory =
            options.directory.empty() ? defaultDirectory() : options.directory;
        return serve(machine, {.directory = directory, .mode = mode});
    }
    RunOptions run{
        .command = std::move(words), .directory = {}, .mode = mode, .keep = options.keep};
    if (!options.directory.empty()) {
        run.directory = options.directory;
    }
    return varnock::agent::run(machine, run);
}

/// What `ctl` is to do.
struct Controls {
    CLI::App* ctl;
    CLI::App* event;
};

Controls addControls(CLI::App& app, Options& options) {
    CLI::App* ctl = app.add_subcommand("ctl", "Control a running agent");
    ctl->require_subcommand(1);
    CLI::Option* directory = ctl->add_option(
        "--dir", options.directory,
        "Directory of the agent's sockets (default: QX_RAGD_SOCKET_DIR, else /dev)");
    ctl->add_option("--socket", options.control, "The agent's control socket")->excludes(directory);
    CLI::App* event = ctl->add_subcommand("event", "Push an event to those who have registered");
    event
        ->add_option("EVENT", options.event.event,
                     "systemMessageLog, driverMonitorLog or an operation code")
        ->required();
    CLI::Option* number = event->add_option("NUMBER", options.event.number,
                                            "Its data, as a rule the number of a log entry");
    event->add_option("--text", options.event.text, "Its data as text")->excludes(number);
    event->add_option("--ext", options.event.ext, "Operation code extension");
    event->add_option("--object", options.event.object, "Object id");
    event->add_option("--cabinet", options.event.cabinet, "Cabinet number");
    event->fallthrough();
    ctl->add_subcommand("status", "Say what the agent is doing")->fallthrough();
    return {ctl, event};
}

int control(const Controls& controls, const Options& options) {
    std::string request = "status ";
    if (controls.event->parsed()) {
        try {
            request = "event " + eventRecord(options.event);
        } catch (const std::invalid_argument& mistake) {
            std::fprintf(stderr, "varnock-agent: %s\n", mistake.what());
            return kUsage;
        }
    }
    const std::string directory =
        options.directory.empty() ? defaultDirectory() : options.directory;
    const std::string socket =
        options.control.empty() ? directory + "/" + kControlSocket : options.control;
    const std::string answer = askAgent(socket, request);
    return std::fputs(answer.c_str(), stdout) >= 0 && std::fflush(stdout) == 0 ? EXIT_SUCCESS
                                                                               : kCannotStart;
}

int agentMain(std::vector<std::string> arguments) {
    const std::vector<std::string> words = cutCommand(arguments);
    Options options;
    CLI::App app("Answers the commands of the CIM provider library on a development machine.",
                 "varnock-agent");
    app.set_version_flag("--version", "varnock-agent " VARNOCK_AGENT_VERSION);
    app.require_subcommand(1);
    CLI::App* serving = app.add_subcommand("serve", "Answer until ended by a signal");
    addCommonOptions(*serving, options);
    serving->add_option("--dir", options.directory,
                        "Directory of the sockets (default: QX_RAGD_SOCKET_DIR, else /dev)");
    CLI::App* running = app.add_subcommand(
        "run", "Run a command beside an agent of its own: run [OPTIONS] -- COMMAND...");
    addCommonOptions(*running, options);
    running->add_option("--dir", options.directory,
                        "Directory of the sockets (default: a private one)");
    running->add_flag("--keep", options.keep, "Leave the private directory behind");
    const Controls controls = addControls(app, options);
    // CLI11 takes the arguments from the back.
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
        if (running->parsed() == words.empty()) {
            throw CLI::ValidationError(running->parsed() ? "run needs a command after --"
                                                         : "-- belongs to run alone");
        }
    } catch (const CLI::ParseError& failure) {
        return explainUsage(app, failure);
    }
    return controls.ctl->parsed() ? control(controls, options) : start(*serving, options, words);
}

}  // namespace

int main(int argc, char** argv) try {
    return agentMain({argv + 1, argv + argc});
} catch (const std::exception& failure) {
    std::fprintf(stderr, "varnock-agent: %s\n", failure.what());
    return kCannotStart;
}
