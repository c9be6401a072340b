#pragma once

#include <string>
#include <vector>

#include "catalogue/Row.h"

/// The files generated from the table, for the build folder.
namespace varnock::catalogue {

/// The overrides of calls/Kolm.h.
std::string overridesText(const std::vector<Row>& rows);

/// The rows as initialisers of Row, for the tools.
std::string rowsText(const std::vector<Row>& rows);

/// A line VARNOCK_CALL(name, options accepted, options required, member, type of the member
/// pointer) for each call; the including file defines the macro.
std::string membersText(const std::vector<Row>& rows);

}  // namespace varnock::catalogue
