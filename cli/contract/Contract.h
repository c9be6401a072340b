#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "cli/filter/RowField.h"

/// What the JSON documents of the subcommands hold. Schema, help and the fields of --where are
/// derived from this description.
namespace varnockctl {

/// The version of the documents. Within a version members are only added.
inline constexpr int kFormatVersion = 1;

/// What the value of a member can be.
enum Kind : unsigned int {
    kText = 1,
    kNumber = 2,
    kFlag = 4,
    kObject = 8,
    kList = 16,
    kNone = 32,      ///< null: there is no value
    kOptional = 64,  ///< the member can be missing
    kTime = 128,     ///< the text is a time, so --where compares it with one
    kAny = kText | kNumber | kFlag | kObject | kList | kNone,
};

struct Field {
    std::string_view name;
    unsigned int kind;
    std::string_view meaning;
    /// Of an object, or of each item of a list.
    std::span<const Field> members = {};
    /// Of a list without such members: what its items can be.
    unsigned int items = kText;
    /// The typed call that gives the value or the number of items.
    std::string_view call = {};
};

/// The document of a subcommand.
struct Contract {
    std::string_view command;  ///< as typed: "registry get"
    std::span<const Field> members;
    /// The list whose items --where selects; empty if the subcommand is no listing.
    std::string_view rows = {};
};

/// Those of all subcommands.
std::span<const Contract> contracts();

/// The one of a subcommand; null if there is none.
const Contract* findContract(std::string_view command);

/// The fields of a row that have one value.
std::vector<RowField> fieldsOfRows(const Contract& contract);

}  // namespace varnockctl
