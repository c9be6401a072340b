#pragma once

#include <string>

#include "tools/Sanitizer.h"

namespace varnock::agent {

/// The lines of a recording with the sanitizer's replacements, wherever a value stands: in the
/// reply of its own call, in the request that sets it, in a log entry before or after. Blocks of
/// bytes keep their sizes. Throws Refusal with the number of a line that is wrong.
[[nodiscard]] std::string sanitizedRecording(const std::string& lines, Sanitizer& sanitizer);

/// Writes the sanitised lines into a file. Throws Refusal with its path if that fails.
void writeSanitized(const std::string& lines, Sanitizer sanitizer, const std::string& path);

}  // namespace varnock::agent
