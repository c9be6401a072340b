#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varnockctl {

/// What the catalogue of commands says about one typed call. All texts are views into the
/// catalogue, which lives for the process.
struct CatalogueRow {
    int index;                   ///< position in the interface
    std::string_view operation;  ///< name of the operation; two of them share one
    std::string_view arguments;
    std::string_view returnType;
    std::string_view opcode;
    std::string_view ext;
    std::string_view object;
    std::string_view cabinet;
    std::string_view result;
    std::string_view failure;
};

/// The rows in the order of the interface.
const std::vector<CatalogueRow>& catalogue();

/// The name a call is chosen by. It is the operation's name; of the two operations of one name the
/// first carries its command number: "getUmDiffComponentSubType@0x3306".
std::string callName(const CatalogueRow& row);

/// The row of that name, or null.
const CatalogueRow* findCall(std::string_view name);

/// True for calls that set something, clear a log or ask for a shutdown.
bool changesState(const CatalogueRow& row);

/// True for the operation codes of such calls, for records that have no name.
bool changesState(unsigned int opcode);

}  // namespace varnockctl
