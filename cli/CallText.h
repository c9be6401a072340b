#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/CallTable.h"
#include "cli/Catalogue.h"

/// What there is to say about a call, in words.
namespace varnockctl {

/// What the header of the interface says about each operation, in its order.
const std::vector<std::string>& callComments();

/// The comments of all operations in the text of a header, in their order. Each is one line.
std::vector<std::string> parseComments(std::string_view header);

/// What the call does or gives, from the header.
const std::string& meaning(const CatalogueRow& row);

/// The options that a call cannot do without: "--cabinet N --object N".
std::string neededOptions(const Call& call);

/// What the call gives when the machine has no answer: "0", "null", "an empty list"; empty for a
/// call without a result.
std::string absentResult(const CatalogueRow& row);

/// What happens when the request fails.
std::string failureText(const CatalogueRow& row);

/// docs/calls.md: every call with its arguments, command numbers, result and failure.
std::string callsPage();

}  // namespace varnockctl
