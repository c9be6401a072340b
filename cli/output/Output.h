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

/// The result of a command: exactly one document.
struct Answer {
    ExitStatus status = ExitStatus::done;
    JsonDocument document;  ///< as printed with -o json
    /// The member that the other formats show; null: the whole document.
    const char* shown = nullptr;
    /// The text for -o table if it is not derived from the document.
    std::string table = {};
    /// The table is a file to be stored: its control characters are escaped only on a terminal.
    bool isFile = false;
    /// The items have been printed already; only the end of the list remains.
    bool streamed = false;
    /// An object whose destruction takes time; destroyed after the answer has been printed.
    std::shared_ptr<const void> held = {};
};

using varnock::console::Flush;

/// Prints a message of varnockctl on standard error.
inline void say(std::string_view message) {
    varnock::console::say("varnockctl", message);
}

/// Prints one item of a list whose items arrive one at a time: `line` for -o table, one line for
/// -o jsonl, one row below the names for -o csv. With -o json the items form one list, which
/// print() completes. In both JSON formats a failure that ends the list is its last item. Returns
/// false if nothing more can be written, also after print().
[[nodiscard]] bool printItem(const Json& item, std::string_view line, Format format,
                             Flush flush = Flush::now);

/// True if it is known that standard output has no reader any more.
[[nodiscard]] bool isOutputGone();

/// Prints the answer to standard output, once per process: of two threads the first one prints, and
/// the other one gets nothing. Returns the status, or `outputLost` with a message on standard error
/// if any output was lost.
[[nodiscard]] std::optional<ExitStatus> printFirst(const Answer& answer, Format format);

/// How the process ends before its command does.
struct Ending {
    ExitStatus status;
    const char* message;  ///< of letters, blanks and punctuation that JSON does not escape
};

/// Prints a failure, like printFirst(), but allocates no memory.
[[nodiscard]] std::optional<ExitStatus> printFailureFirst(const Ending& ending, Format format);

/// The same, but prints nothing if a thread is printing, even this one.
[[nodiscard]] std::optional<ExitStatus> printFailureNow(const Ending& ending, Format format);

/// The same as printFirst(), but waits forever if another thread was first, because that thread
/// ends the process.
[[nodiscard]] ExitStatus print(const Answer& answer, Format format);

/// The document of a failure: {"error": {"status": n, "message": text}}.
[[nodiscard]] Answer failureAnswer(ExitStatus status, std::string_view message);

/// The same; also prints the message to standard error.
[[nodiscard]] Answer failed(const Failure& failure);

/// A list with one line per item, any other value on one line.
std::string toJsonLines(const Json& value);

/// A list of objects below a row with their names, one object in two rows, any other value in a
/// column named "value". Control characters are escaped, so each row is one line. An absent value
/// is an empty cell; objects and lists in a cell are JSON.
std::string toCsv(const Json& value);

/// A value as a table: a scalar alone, a list of objects in columns, an object as indented names.
std::string toTable(const Json& value);

}  // namespace varnockctl
