#pragma once

#include <string>
#include <vector>

#include "catalogue/Row.h"

/// Descriptions of a call in words.
namespace varnock::catalogue {

/// The result of the call if the machine has no answer: "0", "null", "an empty list"; empty for a
/// call without a result.
std::string absentResult(const Row& row);

/// The effect of a failed request.
std::string failureText(const Row& row);

/// docs/calls.md: every call with its arguments, command numbers, result and failure.
std::string callsPage(const std::vector<Row>& rows);

/// The same as the manual page varnock-calls(7), in the language of mdoc(7).
std::string callsManual(const std::vector<Row>& rows);

}  // namespace varnock::catalogue
