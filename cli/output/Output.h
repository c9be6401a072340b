#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "cli/Options.h"
#include "cli/output/ExitStatus.h"
#include "cli/output/Failure.h"
#include "cli/output/Json.h"
#include "tools/Console.h"

namespace varnockctl {

/// What a command has to say: exactly one document.
struct Answer {
    ExitStatus status = ExitStatus::done;
    JsonDocument document;  ///< as printed with -o json
    /// The member that a table shows; null shows the whole document.
    const char* shown = nullptr;
    /// What a table shows instead, if there is a better way to show it.
    std::string table = {};
    /// The items were printed as they came; nothing but the end of the list is left to print.
    bool streamed = false;
    /// What takes time to end, and so goes only when the answer has been printed.
    std::shared_ptr<const void> held = {};
};

using varnock::console::Flush;

/// Prints one item of a list whose items arrive one at a time: `line` for a table, with -o jsonl a
/// line of its own, with -o csv a row below the names, and with -o json a list that print() ends,
/// so that the whole is one document. With both kinds of JSON a failure that ends the list is its
/// last item. Returns false when nothing can be written any more, also once print() was called.
bool printItem(const Json& item, std::string_view line, Format format, Flush flush = Flush::now);

/// True when it is known that nobody can read further items.
bool isOutputGone();

/// Prints the answer to standard output, once for the whole process: of two threads the first wins,
/// and the other gets nothing. Returns the status, or `outputLost` when anything that was printed
/// is lost, which it says on standard error.
std::optional<ExitStatus> printFirst(const Answer& answer, Format format);

/// The same, but waits for ever when another thread was first: that one ends the process.
ExitStatus print(const Answer& answer, Format format);

/// The document of a failure: {"error": {"status": n, "message": text}}.
Answer failureAnswer(ExitStatus status, std::string_view message);

/// The same, and says the message on standard error.
Answer failed(const Failure& failure);

/// A list with a line for each item, or else the value on one line.
std::string toJsonLines(const Json& value);

/// A list of objects with their names in the first row, one object in two rows, anything else in
/// one column named "value". What is absent is empty, and what has parts of its own is JSON.
std::string toCsv(const Json& value);

/// A value as a table: scalars alone, lists of objects in columns, objects as indented names.
std::string toTable(const Json& value);

}  // namespace varnockctl
