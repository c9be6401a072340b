#pragma once

#include <cstddef>
#include <string_view>

#include "runtime/RegistryNode.h"
#include "runtime/files/LineReader.h"

// The text of the registry, for the library and for the command line: docs/registry-file.md tells
// the same to people. Internal, shared with the tools.
namespace varnock::registryformat {

// The files in the system directory.

inline constexpr char kFile[] = "registry";
inline constexpr char kBackup[] = "registry.old";
/// What a save writes before it takes the place of the file.
inline constexpr char kNewFile[] = "registry.new";

/// The names of the root keys.
inline constexpr char kLocalMachine[] = "HKEY_LOCAL_MACHINE";
inline constexpr char kCurrentUser[] = "HKEY_CURRENT_USER";
inline constexpr char kUsers[] = "HKEY_USERS";
inline constexpr char kClassesRoot[] = "HKEY_CLASSES_ROOT";
inline constexpr char kCurrentConfig[] = "HKEY_CURRENT_CONFIG";

/// Characters of a line that are read.
inline constexpr std::size_t kLongestLine = LineReader::kMaxLength;
/// Of the name of a key, which stands between brackets.
inline constexpr std::size_t kLongestKeyName = kLongestLine - 2;

/// What stands between the name of a value and its data.
inline constexpr char kStringMarker[] = "=s=";
inline constexpr char kExpandMarker[] = "=es=";
inline constexpr char kNumberMarker[] = "=d=";
inline constexpr char kBinaryMarker[] = "=b=";

/// Where the first component of a path ends: at a backslash, where it has none at a slash; npos
/// when it is the only one.
inline std::size_t separatorIn(std::string_view path) {
    const std::size_t backslash = path.find('\\');
    return backslash != path.npos ? backslash : path.find('/');
}

/// Takes the first component off the front of a path.
inline std::string_view takeComponent(std::string_view& path) {
    const std::size_t separator = separatorIn(path);
    const std::string_view component = path.substr(0, separator);
    path.remove_prefix(separator != path.npos ? separator + 1 : path.size());
    return component;
}

}  // namespace varnock::registryformat
