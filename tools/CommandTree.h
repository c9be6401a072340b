#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

/// What the parser of a command line tells about itself. Help comes from the same place, so
/// completion and manual pages cannot differ from it. Hidden parts are left out.
namespace varnock {

/// The subcommands in the order of the help.
std::vector<const CLI::App*> subcommandsOf(const CLI::App& command);

/// The options with a name, those of option groups last; not those of the parent.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);

/// The arguments without a name, in their order.
std::vector<const CLI::Option*> argumentsOf(const CLI::App& command);

/// The option of this name, such as "--object" or "-o", also of the parents; null if there is none.
const CLI::Option* findOption(const CLI::App& command, const std::string& name);

/// False for a flag.
bool takesValue(const CLI::Option& option);

/// True if it may be given more than once.
bool isRepeatable(const CLI::Option& option);

/// The names as typed, the short one first: "-o", "--output".
std::vector<std::string> namesOf(const CLI::Option& option);

/// What the help calls the value: "FORMAT", "N", "FILE"; the name of an argument without one.
std::string valueNameOf(const CLI::Option& option);

/// The only valid values, from the validators of the parser; empty if there are others.
std::vector<std::string> choicesOf(const CLI::Option& option);

}  // namespace varnock
