#include "runtime/files/PlatformPaths.h"

#include <stdlib.h>

namespace varnock {
namespace {

std::string fromEnvironment(const char* variable, const char* builtIn) {
    const char* value = secure_getenv(variable);
    return value != nullptr ? value : builtIn;
}

}  // namespace

std::string agentSocketDirectory() {
    return fromEnvironment("QX_RAGD_SOCKET_DIR", "/dev");
}
std::string requestSocketPath() {
    return agentSocketDirectory() + "/ragdsj";
}
std::string eventSocketPath() {
    return agentSocketDirectory() + "/ragdaj";
}
std::string systemDirectory() {
    return fromEnvironment("QX_SYSTEM_DIR", "/etc/qxmond");
}
std::string cpuInfoFile() {
    return fromEnvironment("QX_CPUINFO_FILE", "/proc/cpuinfo");
}
std::string memoryDevice() {
    return fromEnvironment("QX_MEMORY_DEVICE", "/dev/mem");
}

}  // namespace varnock
