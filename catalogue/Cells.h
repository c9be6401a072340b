#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalogue/Row.h"

/// The rules for the cells of a row, for each cell and for combinations.
namespace varnock::catalogue {

struct Column {
    const char* name;             ///< in the heading
    const char* member;           ///< of Row, as text
    std::string_view Row::*cell;  ///< the same; null for the index
    const char* pattern;          ///< regular expression for the whole cell
    const char* meaning;          ///< in the message about a cell that does not match
};

/// In the order of the heading.
const std::vector<Column>& columns();

[[nodiscard]] bool isAllowed(const Column& column, std::string_view cell);

/// Contradictions between the cells of a row whose cells are valid, one sentence each.
[[nodiscard]] std::vector<std::string> contradictions(const Row& row);

}  // namespace varnock::catalogue
