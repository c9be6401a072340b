#pragma once

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
};

/// Prints the answer to standard output, once for the whole process: of two threads the first
/// wins, and the other never returns. Returns the status, `partial` output errors included.
ExitStatus print(const Answer& answer, Format format);

/// The document of a failure: {"error": {"status": n, "message": text}}.
Answer failureAnswer(ExitStatus status, std::string_view message);

/// A value as a table: scalars alone, lists of objects in columns, objects as indented names.
std::string toTable(const Json& value);

}  // namespace varnockctl
