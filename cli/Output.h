#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "cli/ExitStatus.h"
#include "cli/Json.h"
#include "cli/Options.h"

namespace varnockctl {

/// What a command has to say: exactly one document.
struct Answer {
    ExitStatus status = ExitStatus::done;
    JsonDocument document;  ///< as printed with -o json
    /// The member that a table shows; null shows the whole document.
    const char* shown = nullptr;
    /// The items were printed as they came; nothing but the end of the list is left to print.
    bool streamed = false;
};

/// Prints one item of a list whose items come by and by, and flushes it: `line` for a table, and
/// with -o json a list that print() ends, so that the whole is one document. Returns false when
/// nothing can be written any more, also once print() was called.
bool printItem(const Json& item, std::string_view line, Format format);

/// Prints the answer to standard output, once for the whole process: of two threads the first wins,
/// and the other gets nothing. Returns the status, `partial` output errors included.
std::optional<ExitStatus> printFirst(const Answer& answer, Format format);

/// The same, but waits for ever when another thread was first: that one ends the process.
ExitStatus print(const Answer& answer, Format format);

/// The document of a failure: {"error": {"status": n, "message": text}}.
Answer failureAnswer(ExitStatus status, std::string_view message);

/// A value as a table: scalars alone, lists of objects in columns, objects as indented names.
std::string toTable(const Json& value);

}  // namespace varnockctl
