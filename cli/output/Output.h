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
    /// Why the status is not `done` although there is a result; empty: the meaning of the status.
    std::string problem = {};
    JsonDocument document;  ///< as printed with -o json
    /// The member that the other formats show; null: the whole document.
    const char* shown = nullptr;
    /// The text for -o table if it is not derived from the document.
    std::string table = {};
    /// What -o table shows in place of the document, and allocated by it; null: the document.
    Json view = {};
    /// The view is a list without the names of its columns; this member continues on further lines.
    const char* wrapped = nullptr;
    bool wide = false;  ///< lines may be longer than the screen
    /// The table is a file to be stored: its control characters are escaped only on a terminal.
    bool isFile = false;
    /// The items have been printed already; only the end of the list remains.
    bool streamed = false;
    /// An object whose destruction takes time; destroyed after the answer has been printed.
    std::shared_ptr<const void> held = {};

    /// Prints a message and makes it the reason for the status; the result remains.
    void fail(ExitStatus reason, std::string message);
};

using varnock::console::Flush;

/// Prints a message of varnockctl on standard error, without what --sanitize replaces.
void say(std::string_view message);

/// Prints one item of a list whose items arrive one at a time: `line` for -o table, one line for
/// -o jsonl, one row below the names for -o csv. With -o json the items form the member `list` of
/// the document, which print() completes. A failure that ends the list is a member after it, and
/// with -o jsonl the last line. Returns false if nothing more can be written, also after print().
[[nodiscard]] bool printItem(std::string_view list, const Json& item, std::string_view line,
                             Format format, Flush flush = Flush::now);

/// The end of a list that has been printed with printItem().
[[nodiscard]] Answer listAnswer(const char* list);

/// True if it is known that standard output has no reader any more.
[[nodiscard]] bool isOutputGone();

/// Completes an answer, and gives it as it is printed with -o json if no items have been printed.
[[nodiscard]] std::string documentText(Answer& answer);

/// Prints the answer to standard output, once per process, and completes its document with the
/// failure that its status tells. Of two threads the first one prints, and
/// the other one gets nothing. Returns the status, or `outputLost` with a message on standard error
/// if any output was lost.
[[nodiscard]] std::optional<ExitStatus> printFirst(Answer& answer, Format format);

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
[[nodiscard]] ExitStatus print(Answer& answer, Format format);

/// The document of a failure: {"error": {"status": n, "message": text}}.
[[nodiscard]] Answer failureAnswer(ExitStatus status, std::string_view message);

/// The same; also prints the message to standard error.
[[nodiscard]] Answer failed(const Failure& failure);

/// A list with one line per item, any other value on one line.
std::string toJsonLines(const Json& value);

}  // namespace varnockctl
