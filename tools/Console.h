#pragma once

#include <string>
#include <string_view>

/// What the user of a tool sees.
///
/// A program with this file keeps the numbers of the standard streams: one that was closed when the
/// program started stays unusable, and no file that is opened later gets its number.
namespace varnock::console {

/// The exit status of a tool whose standard output could not be written.
inline constexpr int kOutputLost = 10;

/// Whether others may be waiting for what is printed, or more is coming at once.
enum class Flush { now, later };

/// Prints results to file descriptor 1, past the stream, and waits as long as their reader does. A
/// reader that has gone is an error and no signal. False when standard output cannot be written,
/// which is final. One thread at a time.
bool print(std::string_view text, Flush flush = Flush::now);

/// True when nobody can read what is printed any more, whether or not it has been tried.
bool isOutputGone();

/// Prints what is left, and meets the errors that come only when a file is closed. False when
/// something that was printed is lost; says so in the name of the program.
bool finishOutput(std::string_view program);

/// Writes a line to file descriptor 2, past the stream.
void say(std::string_view line);
/// The same with a text as it stands.
void complain(std::string_view text);

}  // namespace varnock::console
