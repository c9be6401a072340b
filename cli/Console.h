#pragma once

#include <string>
#include <string_view>

/// What the user sees beside the results.
///
/// The library traces to the stream `stderr`, from its load on. A person who asks for one number
/// does not want to read that, so a program with this file takes the stream away before the library
/// starts and keeps the text until it says what becomes of it.
namespace varnock::console {

/// Writes a line to file descriptor 2, past the stream.
void say(std::string_view line);

/// Passes what is written to the stream through from now on, with what was kept so far first.
void showTrace();

}  // namespace varnock::console
