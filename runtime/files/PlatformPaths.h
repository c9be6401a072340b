#pragma once

#include <string>

// Where the platform keeps what the library uses. An environment variable, read with
// secure_getenv, replaces each built-in path. Internal; the names are shared with the tools.
//
// The variables are read at every call; nothing is cached. An empty variable counts as set.
namespace varnock {

/// The directory of the agent's sockets.
inline constexpr char kSocketDirectoryVariable[] = "QX_RAGD_SOCKET_DIR";
inline constexpr char kDefaultSocketDirectory[] = "/dev";
/// The directory of the registry file.
inline constexpr char kSystemDirectoryVariable[] = "QX_SYSTEM_DIR";
inline constexpr char kDefaultSystemDirectory[] = "/etc/qxmond";
/// The kernel's list of processors.
inline constexpr char kCpuInfoFileVariable[] = "QX_CPUINFO_FILE";
inline constexpr char kDefaultCpuInfoFile[] = "/proc/cpuinfo";
/// The device of physical memory.
inline constexpr char kMemoryDeviceVariable[] = "QX_MEMORY_DEVICE";
inline constexpr char kDefaultMemoryDevice[] = "/dev/mem";

/// The names of the agent's sockets in their directory.
inline constexpr char kRequestSocket[] = "ragdsj";
inline constexpr char kEventSocket[] = "ragdaj";

/// The directory of the agent's sockets.
std::string agentSocketDirectory();
/// The path of the agent's socket for requests.
std::string requestSocketPath();
/// The path of the agent's socket for events.
std::string eventSocketPath();
/// The directory of the registry file.
std::string systemDirectory();
/// The path of the kernel's list of processors.
std::string cpuInfoFile();
/// The path of the device of physical memory.
std::string memoryDevice();

}  // namespace varnock
