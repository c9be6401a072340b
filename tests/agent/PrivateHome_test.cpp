#include "agent/PrivateHome.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/support/TextFile.h"

namespace varnock::agent::test {
namespace {

namespace fs = std::filesystem;
using varnock::test::readFile;

std::string variable(const char* name) {
    const char* const value = getenv(name);
    return value != nullptr ? value : "not set";
}

TEST(PrivateHome, HasARegistryAndAFolderForTraceFiles) {
    fs::path path;
    {
        const PrivateHome home;
        path = home.path();
        EXPECT_EQ(readFile(path / "system/registry"), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n");
        EXPECT_TRUE(fs::is_directory(path / "trace"));
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(PrivateHome, SetsTheEnvironmentAndKeepsSettingsOfTheUser) {
    const PrivateHome home;
    unsetenv("QX_SYSTEM_DIR");
    setenv("QX_RAGD_SOCKET_DIR", "/of/the/user", 1);
    setenv("QX_LOG_RINGBUF_DIR", "/of/the/user", 1);
    home.setEnvironment("/sockets");
    EXPECT_EQ(variable("QX_RAGD_SOCKET_DIR"), "/sockets");
    EXPECT_EQ(variable("QX_SYSTEM_DIR"), home.path() / "system");
    EXPECT_EQ(variable("QX_LOG_RINGBUF_DIR"), "/of/the/user");
}

}  // namespace
}  // namespace varnock::agent::test
