#pragma once

#include <functional>
#include <string>

#include "runtime/RegistryNode.h"

namespace varnockctl {

/// The text of a registry file. Reading needs no lock: a file that is saved takes the place of the
/// one before as a whole.
struct RegistryFile {
    std::string path;
    std::string text;
    bool isBackup = false;  ///< there is no "registry", and this is "registry.old"
};

/// A file in the system directory, as the library looks for it.
std::string systemFile(const std::string& name);

/// The registry file, or the one before where there is none, as the library does it. Throws Failure
/// when there is neither, or it cannot be read.
RegistryFile readRegistryFile();
/// Another file in the same form; "-" is standard input. Throws Failure.
RegistryFile readRegistryFile(const std::string& path);

/// Lets `change` work on the tree as the file has it now, with every other process kept from
/// saving, and writes the file if it returns true. Throws Failure when that fails, and what
/// `change` throws; the file is then as it was.
void changeRegistryFile(const std::function<bool(CRegistryNode& root)>& change);

}  // namespace varnockctl
