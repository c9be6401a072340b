#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

namespace varnock {

/// Replaces a regular file, or creates one, with these permissions: readers see either the old or
/// the new text, also after a power cut. The text goes to a file in the same directory whose name
/// begins with a dot and has no extension, then takes the name. Links are followed. Throws
/// std::system_error with the path; the old file is then unchanged.
void replaceFile(const std::string& path, std::string_view text, mode_t mode);

}  // namespace varnock
