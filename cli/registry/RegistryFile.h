#pragma once

#include <functional>
#include <string>

namespace varnockctl {

/// The text of a registry file. Reading needs no lock, because a save replaces the file atomically.
struct RegistryFile {
    std::string path;
    std::string text;
    bool isBackup = false;  ///< "registry" is missing, and this is "registry.old"
};

/// The path of a file in the library's system directory.
std::string systemFile(const std::string& name);

/// The registry file, or the previous one if it is missing, as in the library. Throws Failure if
/// both are missing or the file cannot be read.
RegistryFile readRegistryFile();
/// Another file in the same format; "-" is standard input. Throws Failure.
RegistryFile readRegistryFile(const std::string& path);

/// Calls `change` with the text of the current file while no other process can save, and saves what
/// it leaves if it returns true. Throws Failure if that fails, and the exceptions of `change`; the
/// file is then unchanged.
void changeRegistryFile(const std::function<bool(std::string& text)>& change);

}  // namespace varnockctl
