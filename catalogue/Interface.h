#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "catalogue/Table.h"

/// The two other places of a call: its declaration and its statement.
namespace varnock::catalogue {

/// A virtual operation as declared by a header.
struct Operation {
    int line;
    std::string name;
    std::string returnType;  ///< with the header's own type names spelled out
    std::string arguments;
    std::string comment;  ///< one line
};

/// The operations in the text of a header, in their order, without the destructor.
std::vector<Operation> operationsIn(std::string_view header);

/// The names of the members of Kolm that a source file defines.
std::vector<std::string> definitionsIn(std::string_view source);

/// A text file under its name in messages.
struct SourceText {
    std::string file;
    std::string text;
};

/// The faults, as "file:line: message": rows that the header does not declare or declares
/// differently, operations without a row, rows without a statement in `statements`.
[[nodiscard]] std::vector<std::string> missingPlaces(const Table& table, const SourceText& header,
                                                     const std::vector<SourceText>& statements);

/// The differences between the comments of the header and the rows, in the same form.
[[nodiscard]] std::vector<std::string> differingComments(const Table& table,
                                                         const SourceText& header);

}  // namespace varnock::catalogue
