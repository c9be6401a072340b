#pragma once

#include <string>

namespace varnockctl {

enum class Format { table, json, jsonl, csv };

/// What every subcommand takes.
struct Options {
    Format format = Format::table;
    bool wire = false;     ///< show each record on standard error
    bool dryRun = false;   ///< print the record of a state-changing call, send nothing
    bool yes = false;      ///< do not ask before a state-changing call
    bool verbose = false;  ///< show the library's trace on standard error
};

/// Reads a number, decimal or 0x; throws Failure (usage) naming the option when it is none or
/// above `maximum`.
unsigned int parseNumber(const std::string& text, const char* option,
                         unsigned int maximum = 0xFFFFFFFFU);

}  // namespace varnockctl
