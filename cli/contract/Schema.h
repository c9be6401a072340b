#pragma once

#include <string>
#include <string_view>

namespace varnockctl {

/// The JSON schema (draft 4) of a subcommand's document, or of each document if `command` is empty.
/// Units are annotations named "unit". REQUIRES: the subcommand has a contract.
std::string schemaText(std::string_view command);

/// The members of the document in lines for the help.
std::string membersText(std::string_view command);

}  // namespace varnockctl
