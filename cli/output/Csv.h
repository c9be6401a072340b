#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/output/Json.h"

namespace varnockctl {

/// A value as CSV, with one value in a cell: a list of objects below a row with the names of their
/// members, one object in two rows, any other value in a column named "value". A member of an
/// object in a row is the column "name.member", an item of a list "name[0]"; the columns are those
/// of all rows. An object with lists of objects has a row for each value, with its path. An absent
/// value is an empty cell. Control characters are escaped, so each row is one line.
std::string toCsv(const Json& value);

/// The scalars of a value with their paths, in their order: "RAW[0]", "name.member"; "value" for a
/// scalar itself.
using Leaves = std::vector<std::pair<std::string, const Json*>>;
Leaves leavesOf(const Json& value);

/// One row of a list whose items arrive one at a time, below the names if it is the first. The
/// columns are the members of the first item, so an object or a list in a cell is a text of JSON.
std::string csvItem(const Json& item, bool isFirst);

}  // namespace varnockctl
