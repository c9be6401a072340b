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
    return fromEnvironment(kSocketDirectoryVariable, kDefaultSocketDirectory);
}
std::string requestSocketPath() {
    return agentSocketDirectory() + "/" + kRequestSocket;
}
std::string eventSocketPath() {
    return agentSocketDirectory() + "/" + kEventSocket;
}
std::string systemDirectory() {
    return fromEnvironment(kSystemDirectoryVariable, kDefaultSystemDirectory);
}
std::string cpuInfoFile() {
    return fromEnvironment(kCpuInfoFileVariable, kDefaultCpuInfoFile);
}
std::string memoryDevice() {
    return fromEnvironment(kMemoryDeviceVariable, kDefaultMemoryDevice);
}

}  // namespace varnock
