#include "agent/PrivateHome.h"

#include <stdlib.h>

#include <fstream>

#include "agent/Listener.h"
#include "runtime/files/PlatformPaths.h"
#include "runtime/trace/TraceSettings.h"

namespace varnock::agent {
namespace {

/// A registry with the one key that holds the settings. Each node, the root of the file included,
/// ends with an empty line.
constexpr const char* kRegistry = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n";

}  // namespace

PrivateHome::PrivateHome() {
    std::filesystem::create_directory(path() / "system");
    std::filesystem::create_directory(path() / "trace");
    std::ofstream registry(path() / "system/registry");
    registry << kRegistry;
    registry.close();
    if (!registry) {
        throw StartError((path() / "system/registry").string() + ": cannot write");
    }
}

void PrivateHome::setEnvironment(const std::string& sockets) const {
    setenv(kSocketDirectoryVariable, sockets.c_str(), 1);
    setenv(kSystemDirectoryVariable, (path() / "system").c_str(), 0);
    setenv(kTraceDirectoryVariable, (path() / "trace").c_str(), 0);
    setenv(kTraceWeightVariable, "1", 0);
    setenv(kTraceNoHeaderVariable, "1", 0);
    setenv(kTracePerProcessVariable, "1", 0);
}

}  // namespace varnock::agent
