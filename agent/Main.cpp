// The command line of varnock-agent.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "agent/Run.h"
#include "agent/Serve.h"
#include "agent/host/HostMachine.h"
#include "cli/Console.h"

namespace {

using namespace varnock::agent;

constexpr int kCannotStart = 1;
constexpr int kUsage = 2;
constexpr unsigned kPermissionBits = 0777;

struct Options {
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
    return start(*serving, options, words);
}

}  // namespace

int main(int argc, char** argv) try {
    varnock::console::dropTrace();
    return agentMain({argv + 1, argv + argc});
} catch (const std::exception& failure) {
    std::fprintf(stderr, "varnock-agent: %s\n", failure.what());
    return kCannotStart;
}
