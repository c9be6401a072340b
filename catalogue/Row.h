#pragma once

#include <string_view>

namespace varnock::catalogue {

/// A row of calls.tsv: the facts about one typed call. README.md describes the cells; "-" means
/// none. The texts are views, into the table's text or of literals.
struct Row {
    int index;              ///< position in the interface
    std::string_view name;  ///< unique: the second operation of a name appends "@" and its opcode
    std::string_view arguments;
    std::string_view returnType;
    std::string_view opcode;
    std::string_view ext;
    std::string_view object;
    std::string_view cabinet;
    std::string_view data;
    std::string_view reply;
    std::string_view failure;
    std::string_view sends;
    std::string_view changes;
    std::string_view trace;
    std::string_view entry;
    std::string_view controllers;
    std::string_view options;
    std::string_view value;
    std::string_view unit;
    std::string_view componentClass;
    std::string_view model;
    std::string_view coding;
    std::string_view description;
};

/// The name of the C++ member.
constexpr std::string_view memberName(const Row& row) {
    return row.name.substr(0, row.name.find('@'));
}

/// The name in the trace and in the texts of failures.
constexpr std::string_view traceName(const Row& row) {
    return row.trace == "-" ? memberName(row) : row.trace;
}

/// False for calls that send nothing, and for the call that sends its caller's record.
constexpr bool hasCommand(const Row& row) {
    return row.opcode != "-";
}

/// True for calls that set something, clear a log or request a shutdown.
constexpr bool changesState(const Row& row) {
    return row.changes == "yes";
}

}  // namespace varnock::catalogue
