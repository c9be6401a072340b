#pragma once

#include <string>

#include "cli/output/Json.h"
#include "cli/output/Screen.h"

namespace varnockctl {

/// A value as a table: a scalar alone, a list of objects in columns, an object as a tree of names
/// and values. Lines are not longer than the screen: texts of a list end in an ellipsis, those of a
/// tree continue below, between words. A row with a member "state" that is not well is coloured.
std::string toTable(const Json& value, const Screen& screen = {});

/// The same of a list of objects, without the names of the columns. The member `wrapped` continues
/// below instead of ending in an ellipsis; null: none.
std::string toPlainTable(const Json& rows, const char* wrapped, const Screen& screen);

}  // namespace varnockctl
