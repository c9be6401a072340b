#pragma once

#include <span>
#include <string_view>

#include "catalogue/Row.h"

namespace varnockctl {

/// What the catalogue of calls says about one of them.
using CatalogueRow = varnock::catalogue::Row;
using varnock::catalogue::changesState;

/// The rows in the order of the interface.
std::span<const CatalogueRow> catalogue();

/// The row of that name, or null.
const CatalogueRow* findCall(std::string_view name);

/// True for the operation codes of calls that change state, for records that have no name.
bool changesState(unsigned int opcode);

}  // namespace varnockctl
