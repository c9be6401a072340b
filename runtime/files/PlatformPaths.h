#pragma once

#include <string>

/// Where the platform keeps what the library uses. Each path comes from an environment variable,
/// read with secure_getenv, else is the built-in one. Internal, not installed.
///
/// The variables are read at every call; nothing is cached. An empty variable counts as set.
namespace varnock {

/// QX_RAGD_SOCKET_DIR, else "/dev": the directory of the agent's sockets.
std::string agentSocketDirectory();
/// The agent's socket for requests, "ragdsj" in agentSocketDirectory().
std::string requestSocketPath();
/// The agent's socket for events, "ragdaj" in agentSocketDirectory().
std::string eventSocketPath();
/// QX_SYSTEM_DIR, else "/etc/qxmond": the directory of the registry file.
std::string systemDirectory();
/// QX_CPUINFO_FILE, else "/proc/cpuinfo".
std::string cpuInfoFile();
/// QX_MEMORY_DEVICE, else "/dev/mem".
std::string memoryDevice();

}  // namespace varnock
