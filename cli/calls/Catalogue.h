#pragma once

#include <span>
#include <string>
#include <string_view>

#include "catalogue/Row.h"

namespace varnockctl {

/// The row of a call in the catalogue.
using CatalogueRow = varnock::catalogue::Row;
using varnock::catalogue::changesState;

/// The rows in the order of the interface.
std::span<const CatalogueRow> catalogue();

/// The row of that name, or null.
const CatalogueRow* findCall(std::string_view name);

/// The names of calls that an unknown one may stand for, for a message: "A, B or C".
std::string similarCalls(const std::string& name);

/// The call that says how many components of a class a cabinet has, or null. Their object ids count
/// from 0.
const CatalogueRow* countOfClass(std::string_view componentClass);

/// True if a call with this operation code changes state; for records without a name.
bool changesState(unsigned int opcode);

}  // namespace varnockctl
