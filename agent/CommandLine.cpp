#include "agent/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <utility>

#include "agent/Control.h"
#include "runtime/Version.h"
#include "runtime/files/PlatformPaths.h"

namespace varnock::agent {
namespace {

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

/// Removes the command after "--" from the arguments and returns it, so that it is not parsed.
std::vector<std::string> cutCommand(std::vector<std::string>& arguments) {
    const auto mark = std::find(arguments.begin(), arguments.end(), "--");
    std::vector<std::string> command(mark == arguments.end() ? mark : mark + 1, arguments.end());
    arguments.erase(mark, arguments.end());
    return command;
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

/// Fills the command line from the options. Throws CLI::ValidationError if one is missing.
void take(const Controls& controls, const CLI::App& serving, const CLI::App& running,
          const Options& options, CommandLine& line) {
    using Task = CommandLine::Task;
    if (running.parsed() == line.words.empty()) {
        throw CLI::ValidationError(running.parsed() ? "run needs a command after --"
                                                    : "-- is valid only for run");
    }
    line.mode = modeOf(options.mode);
    line.keep = options.keep;
    line.event = options.event;
    line.directory = options.directory;
    if (serving.parsed()) {
        line.directory = directoryFor(serving, options);
    } else if (running.parsed()) {
        line.task = Task::run;
    } else {
        line.task = controls.event->parsed() ? Task::event : Task::status;
        line.control = options.control.empty()
                           ? directoryFor(*controls.ctl, options) + "/" + kControlSocket
                           : options.control;
    }
}

}  // namespace

std::optional<Explanation> parseCommandLine(std::vector<std::string> arguments, CommandLine& line) {
    line.words = cutCommand(arguments);
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
        take(controls, *serving, *running, options, line);
        return std::nullopt;
    } catch (const CLI::ParseError& thrown) {
        return explain(app, thrown);
    }
}

}  // namespace varnock::agent
