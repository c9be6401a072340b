#pragma once

#include <CLI/CLI.hpp>
#include <string>

/// Manual pages of subcommands, in the language of mdoc(7). Synopsis and options come from the
/// parser, the description from the program's own page.
namespace varnock {

/// The item `.It Cm NAME` in a list of a page, without its first line; empty if there is none.
std::string manualItem(const std::string& page, const std::string& name);

/// The page of a subcommand, PROGRAM-NAME(1). `page` is the program's own page, of which it takes
/// the date and the description.
std::string manualPage(const CLI::App& command, const std::string& page);

}  // namespace varnock
