#pragma once

#include <cstddef>
#include <string_view>

#include "runtime/RegistryNode.h"
#include "runtime/files/LineReader.h"

// The format of the registry file, which docs/registry-file.md describes. Internal, shared with the
// tools.
namespace varnock::registryformat {

// The files in the system directory.

inline constexpr char kFile[] = "registry";
inline constexpr char kBackup[] = "registry.old";
/// Written by a save, which then renames it to "registry".
inline constexpr char kNewFile[] = "registry.new";

/// The names of the root keys.
inline constexpr char kLocalMachine[] = "HKEY_LOCAL_MACHINE";
inline constexpr char kCurrentUser[] = "HKEY_CURRENT_USER";
inline constexpr char kUsers[] = "HKEY_USERS";
inline constexpr char kClassesRoot[] = "HKEY_CLASSES_ROOT";
inline constexpr char kCurrentConfig[] = "HKEY_CURRENT_CONFIG";

/// The most characters of a line that are read.
inline constexpr std::size_t kLongestLine = LineReader::kMaxLength;
/// The longest name of a key: its line also has two brackets.
inline constexpr std::size_t kLongestKeyName = kLongestLine - 2;

/// Between the name of a value and its data.
inline constexpr char kStringMarker[] = "=s=";
inline constexpr char kExpandMarker[] = "=es=";
inline constexpr char kNumberMarker[] = "=d=";
inline constexpr char kBinaryMarker[] = "=b=";

/// The end of the first component of a path: the first backslash, or the first slash if the path
/// has no backslash, or npos.
inline std::size_t separatorIn(std::string_view path) {
    const std::size_t backslash = path.find('\\');
    return backslash != path.npos ? backslash : path.find('/');
}

/// Removes the first component from a path and returns it.
inline std::string_view takeComponent(std::string_view& path) {
    const std::size_t separator = separatorIn(path);
    const std::string_view component = path.substr(0, separator);
    path.remove_prefix(separator != path.npos ? separator + 1 : path.size());
    return component;
}

}  // namespace varnock::registryformat
