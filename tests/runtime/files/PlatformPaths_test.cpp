#include "runtime/files/PlatformPaths.h"

#include <gtest/gtest.h>
#include <stdlib.h>

namespace varnock::test {
namespace {

struct Path {
    std::string (*get)();
    const char* variable;
    std::string builtIn;
    std::string moved;  ///< with the variable set to "/moved"
};

const Path kPaths[] = {{agentSocketDirectory, "QX_RAGD_SOCKET_DIR", "/dev", "/moved"},
                       {requestSocketPath, "QX_RAGD_SOCKET_DIR", "/dev/ragdsj", "/moved/ragdsj"},
                       {eventSocketPath, "QX_RAGD_SOCKET_DIR", "/dev/ragdaj", "/moved/ragdaj"},
                       {systemDirectory, "QX_SYSTEM_DIR", "/etc/qxmond", "/moved"},
                       {cpuInfoFile, "QX_CPUINFO_FILE", "/proc/cpuinfo", "/moved"},
                       {memoryDevice, "QX_MEMORY_DEVICE", "/dev/mem", "/moved"}};

TEST(PlatformPaths, AreBuiltIn) {
    for (const Path& path : kPaths) {
        unsetenv(path.variable);
        EXPECT_EQ(path.get(), path.builtIn);
    }
}

TEST(PlatformPaths, AreMovedByTheirVariable) {
    for (const Path& path : kPaths) {
        setenv(path.variable, "/moved", 1);
        EXPECT_EQ(path.get(), path.moved);
    }
}

TEST(PlatformPaths, AnEmptyVariableCounts) {
    setenv("QX_RAGD_SOCKET_DIR", "", 1);
    EXPECT_EQ(requestSocketPath(), "/ragdsj");
}

}  // namespace
}  // namespace varnock::test
