#pragma once

#include <string>
#include <string_view>

/// The output of a tool.
///
/// A program with this file reserves the numbers of the standard streams: a stream that was closed
/// when the program started stays unusable, and no file that is opened later gets its number.
namespace varnock::console {

/// The exit status of a tool whose standard output could not be written.
inline constexpr int kOutputLost = 10;

/// Whether a reader may be waiting for the text, or more text follows at once.
enum class Flush { now, later };

/// Prints results to file descriptor 1, not through the stream; blocks while the reader is slow. A
/// missing reader is an error, not a signal. False if standard output cannot be written, which is
/// final. One thread at a time.
[[nodiscard]] bool print(std::string_view text, Flush flush = Flush::now);

/// True if standard output has no reader any more, even if nothing has been printed since.
[[nodiscard]] bool isOutputGone();

/// Prints the last text and detects errors that a file reports only on close. False if any text was
/// lost; then prints a message with the name of the program. Allocates no memory.
[[nodiscard]] bool finishOutput(std::string_view program, std::string_view text);

/// Prints a message, which is one line, to file descriptor 2, not through the stream. Control
/// characters are escaped as by printable(). Allocates no memory.
void say(std::string_view message);
/// The same with the name of the program before the message.
void say(std::string_view program, std::string_view message);
/// The same for a text whose newlines and tabs are kept, without a newline added.
void complain(std::string_view text);

}  // namespace varnock::console
