#include "agent/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <utility>

#include "agent/control/Control.h"
#include "agent/control/CtlVerbs.h"
#include "runtime/Version.h"
#include "runtime/files/PlatformPaths.h"
#include "tools/Completion.h"

namespace varnock::agent {
namespace {

constexpr unsigned kPermissionBits = 0777;
/// Where programs without QX_RAGD_SOCKET_DIR look for the management agent.
constexpr const char* kProductionDirectory = varnock::kDefaultSocketDirectory;

struct Options {
    std::string control;
    std::string request;
    bool json = false;
    bool host = false;
    std::string machine;
    std::string load;
    std::vector<std::string> files;
    std::string directory;
    bool production = false;
    std::string mode = "600";
    bool keep = false;
    std::string clock = "real";
    unsigned seed = 0;
    std::vector<std::string> faults;
    std::string transcript;
    std::string scenario;
    int readyFd = -1;
    std::string replay;
    bool lenient = false;
    std::string upstream;
    std::string recording;
    bool sanitize = false;
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

void addMode(CLI::App& command, Options& options) {
    command.add_option("--mode", options.mode, "octal permissions of the sockets")
        ->check(isMode)
        ->default_str("600");
}

void addReadyFd(CLI::App& command, Options& options) {
    command
        .add_option("--ready-fd", options.readyFd,
                    "descriptor that gets a newline when the agent is ready")
        ->check(CLI::NonNegativeNumber);
}

void addCommonOptions(CLI::App& command, Options& options) {
    CLI::Option* host =
        command.add_flag("--host", options.host, "answer for this machine (the default)");
    CLI::Option* machine =
        command
            .add_option("--machine", options.machine,
                        "answer for a described machine: a name, or a file with a slash or "
                        "\".json\"")
            ->excludes(host);
    CLI::Option* load =
        command.add_option("--load", options.load, "go on from a state that ctl save has written")
            ->option_text("FILE")
            ->excludes(host)
            ->excludes(machine);
    CLI::Option* replay =
        command
            .add_option("--replay", options.replay, "answer from a recording, request by request")
            ->option_text("FILE")
            ->excludes(host)
            ->excludes(machine)
            ->excludes(load);
    command
        .add_flag("--lenient", options.lenient,
                  "answer recorded requests in any order and any number of times")
        ->needs(replay);
    addMode(command, options);
    command.add_option("--clock", options.clock, "real, or virtual and moved by ctl advance")
        ->check(CLI::IsMember({"real", "virtual"}))
        ->default_str("real");
    command.add_option("--seed", options.seed, "seed of the random numbers of faults");
    command.add_option("--fault", options.faults, "rule for replies that fail, may be repeated")
        ->allow_extra_args(false);
    command.add_option("--transcript", options.transcript, "file for requests and replies");
    command
        .add_option("--scenario", options.scenario,
                    "course of events on its machine: a name, or a file with a slash or \".json\"")
        ->option_text("SCENARIO");
}

/// The directory of the management agent is used only on explicit request.
CLI::Option* addPlaceOptions(CLI::App& command, Options& options, const std::string& purpose) {
    CLI::Option* directory =
        command.add_option("--dir", options.directory, purpose + " (default: QX_RAGD_SOCKET_DIR)")
            ->option_text("DIR");
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

CLI::App* addControl(CLI::App& app, Options& options) {
    CLI::App* ctl = app.add_subcommand("ctl", "control a running agent");
    ctl->require_subcommand(1);
    CLI::Option* directory = addPlaceOptions(*ctl, options, "directory of the agent's sockets");
    ctl->add_option("--socket", options.control, "the agent's control socket")
        ->option_text("FILE")
        ->excludes(directory)
        ->excludes(ctl->get_option("--production"));
    ctl->add_flag("--json", options.json, "print the answer as one line of JSON");
    addCtlVerbs(*ctl, options.request);
    return ctl;
}

/// The parsers of the subcommands.
struct Subcommands {
    CLI::App* serving;
    CLI::App* running;
    CLI::App* recording;
    CLI::App* ctl;
};

/// Fills the command line from the options. Throws CLI::ValidationError if one is missing.
void take(const Subcommands& commands, const Options& options, CommandLine& line) {
    using Task = CommandLine::Task;
    const CLI::App& running = *commands.running;
    if (running.parsed() == line.words.empty()) {
        throw CLI::ValidationError(running.parsed() ? "run needs a command after --"
                                                    : "-- is valid only for run");
    }
    line.mode = modeOf(options.mode);
    line.machine = options.machine;
    line.load = options.load;
    line.keep = options.keep;
    line.directory = options.directory;
    line.clock = options.clock == "virtual" ? AgentClock::Kind::isVirtual : AgentClock::Kind::real;
    line.seed = options.seed;
    line.faults = options.faults;
    line.transcript = options.transcript;
    line.scenario = options.scenario;
    line.host = options.host;
    if (options.readyFd >= 0) {
        line.readyFd = options.readyFd;
    }
    line.replay = options.replay;
    line.isLenient = options.lenient;
    if (commands.serving->parsed()) {
        line.directory = directoryFor(*commands.serving, options);
    } else if (commands.recording->parsed()) {
        line.task = Task::record;
        line.directory = directoryFor(*commands.recording, options);
        line.upstream = options.upstream;
        line.recording = options.recording;
        line.sanitizes = options.sanitize;
    } else if (running.parsed()) {
        line.task = Task::run;
    } else if (!options.files.empty()) {
        line.task = Task::check;
        line.words = options.files;
    } else {
        line.task = Task::control;
        line.request = options.request;
        line.json = options.json;
        line.waits = commands.ctl->got_subcommand("expect");
        line.control = options.control.empty()
                           ? directoryFor(*commands.ctl, options) + "/" + kControlSocket
                           : options.control;
    }
}

CLI::App* addRecording(CLI::App& app, Options& options) {
    CLI::App* recording =
        app.add_subcommand("record", "stand before another agent and record what passes");
    recording->add_option("--upstream", options.upstream, "directory of the other agent's sockets")
        ->option_text("DIR")
        ->required();
    recording->add_option("--out", options.recording, "file of the recording")
        ->option_text("FILE")
        ->required();
    recording->add_flag("--sanitize", options.sanitize,
                        "replace serial numbers, names, UUIDs and addresses");
    addPlaceOptions(*recording, options, "directory of the own sockets");
    addMode(*recording, options);
    addReadyFd(*recording, options);
    return recording;
}

Subcommands addSubcommands(CLI::App& app, Options& options) {
    app.description("Answers the commands of the CIM provider library on a development machine.");
    app.name("varnock-agent");
    app.set_help_flag("-h,--help", "print this help and exit");
    app.set_version_flag("--version", std::string("varnock-agent ") + TovQXObjectVersion,
                         "print the version and exit");
    app.require_subcommand(1);
    CLI::App* serving = app.add_subcommand("serve", "answer until a signal arrives");
    addCommonOptions(*serving, options);
    addPlaceOptions(*serving, options, "directory of the sockets");
    addReadyFd(*serving, options);
    CLI::App* running = app.add_subcommand(
        "run", "run a command with a private agent: run [OPTIONS] -- COMMAND...");
    addCommonOptions(*running, options);
    running
        ->add_option("--dir", options.directory,
                     "directory of the sockets (default: a private one)")
        ->option_text("DIR");
    running->add_flag("--keep", options.keep, "keep the private directory");
    CLI::App* recording = addRecording(app, options);
    app.add_subcommand("check", "check files that describe machines")
        ->add_option("FILE", options.files, "the files")
        ->required();
    return {serving, running, recording, addControl(app, options)};
}

/// The values of this program are files, directories and what the parser knows.
class NoOtherValues : public ValueSource {
  public:
    std::vector<Candidate> values(const Typed&, const CLI::Option&, const std::string&) override {
        return {};
    }
    bool offers(const Typed&, const CLI::Option&) override { return true; }
};

/// `__complete PROGRAM WORD...`: what can be typed for the last word, for the shells.
Explanation completion(const std::vector<std::string>& arguments) {
    CLI::App app;
    Options options;
    addSubcommands(app, options);
    NoOtherValues values;
    const std::size_t words = std::min<std::size_t>(arguments.size(), 2);
    return {false,
            completionText(complete(
                app, {arguments.begin() + static_cast<std::ptrdiff_t>(words), arguments.end()},
                values))};
}

}  // namespace

std::optional<Explanation> parseCommandLine(std::vector<std::string> arguments, CommandLine& line) {
    if (!arguments.empty() && arguments.front() == "__complete") {
        return completion(arguments);
    }
    line.words = cutCommand(arguments);
    Options options;
    CLI::App app;
    const Subcommands commands = addSubcommands(app, options);
    // CLI11 expects the arguments in reverse order.
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
        take(commands, options, line);
        return std::nullopt;
    } catch (const CLI::ParseError& thrown) {
        return explain(app, thrown);
    }
}

}  // namespace varnock::agent
