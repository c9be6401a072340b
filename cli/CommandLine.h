#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "cli/Commands.h"
#include "tools/Explanation.h"

namespace CLI {
class App;
}

namespace varnockctl {

/// The arguments of the program.
struct CommandLine {
    CommandLine() = default;
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Options options;
    std::optional<double> timeout;  ///< in seconds
    /// Runs the command, with the arguments of this object.
    std::function<Answer()> command;
    const char* late = "no answer within the time limit";
    bool isEndless = false;    ///< runs until interrupted, unless there is a time limit
    bool keepsToTime = false;  ///< the command itself enforces the time limit

    // The arguments of the subcommands.
    std::string name;
    std::string pattern;
    CallArguments arguments;
    RawRecord raw;
    MetricsOptions metrics;
    WatchOptions watch;
    TraceOptions trace;
    RegistryArguments registry;
    SelectionArguments selection;
};

/// Parses the arguments of the program. Returns an explanation if they name no command to run.
[[nodiscard]] std::optional<varnock::Explanation> parseCommandLine(int argc,
                                                                   const char* const* argv,
                                                                   CommandLine& line);

/// Adds the options and subcommands to an empty parser, which fills the command line. Help,
/// completion and the manual pages are derived from this description. Both must outlive its use.
void describeCommands(CLI::App& app, CommandLine& line);

/// A time limit in whole milliseconds, at least as long.
std::chrono::milliseconds milliseconds(double seconds);

}  // namespace varnockctl
