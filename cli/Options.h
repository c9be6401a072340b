#pragma once

#include <string>
#include <utility>

#include "cli/filter/Selection.h"

namespace provider {
class KOLMClient;
}

namespace varnockctl {

enum class Format { table, json, jsonl, csv };

/// The names of the formats on the command line.
inline constexpr std::pair<const char*, Format> kFormats[] = {{"table", Format::table},
                                                              {"json", Format::json},
                                                              {"jsonl", Format::jsonl},
                                                              {"csv", Format::csv}};

/// The format that the arguments of the program select, whether they are valid or not. Allocates no
/// memory.
Format formatIn(int argc, const char* const* argv);

/// The options of every subcommand.
struct Options {
    Format format = Format::table;
    bool wire = false;         ///< show each record on standard error
    bool dryRun = false;       ///< print the record of a state-changing call, but do not send it
    bool yes = false;          ///< do not ask before a state-changing call
    bool wide = false;         ///< tables may be wider than the terminal
    bool verbose = false;      ///< show the library's trace on standard error
    bool sanitize = false;     ///< replace what identifies the machine
    Selection selection = {};  ///< the rows of a listing to show
    provider::KOLMClient* client = nullptr;  ///< asked in place of the agent; null: the agent
};

/// Parses a number, decimal or 0x. Throws Failure (usage) with the name of the option if the text
/// is not a number or is above `maximum`.
unsigned int parseNumber(const std::string& text, const char* option,
                         unsigned int maximum = 0xFFFFFFFFU);

}  // namespace varnockctl
