#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace varnock::agent {

/// The first bytes of a file, at most `limit`; nothing if it cannot be read.
std::optional<std::string> readFile(const std::filesystem::path& path,
                                    std::size_t limit = std::size_t{16} << 20);
/// A file's first line without surrounding white space; nothing if it is empty.
std::optional<std::string> readLine(const std::filesystem::path& path);
/// A file's first line as a decimal number; nothing if it is anything else.
std::optional<unsigned> readNumber(const std::filesystem::path& path);

/// The text as a decimal number; nothing if it is anything else.
std::optional<unsigned> parseDecimal(std::string_view text);
/// The text without surrounding white space.
std::string trimmed(std::string_view text);

}  // namespace varnock::agent
