// A process with elevated privileges, such as a set-user-id program, ignores its environment: its
// caller must not decide where it writes.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <iterator>
#include <optional>
#include <utility>

#include "runtime/Debug.h"
#include "runtime/Registry.h"
#include "runtime/files/PlatformPaths.h"
#include "runtime/trace/DebugSettings.h"
#include "runtime/trace/TraceSettings.h"
#include "tests/support/ElevatedProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

TEST(ElevatedProcess, UsesTheBuiltInPaths) {
    for (const char* variable :
         {"QX_RAGD_SOCKET_DIR", "QX_SYSTEM_DIR", "QX_CPUINFO_FILE", "QX_MEMORY_DEVICE"}) {
        setenv(variable, "/elsewhere", 1);
    }
    const ElevatedProcess elevated;
    EXPECT_EQ(requestSocketPath(), "/dev/ragdsj");
    EXPECT_EQ(systemDirectory(), "/etc/qxmond");
    EXPECT_EQ(cpuInfoFile(), "/proc/cpuinfo");
    EXPECT_EQ(memoryDevice(), "/dev/mem");
}

TEST(ElevatedProcess, TracesWithTheSettingsOfTheRegistry) {
    for (const char* variable : {"QX_LOG_DEBUG_LEVEL", "TraceFileLimit", "QX_LOG_RINGBUF_WEIGHT",
                                 "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER", "QX_LOG_NOHDR_TOSDTERR",
                                 "QX_LOG_RINGBUF_PER_PROCESS"}) {
        setenv(variable, "0", 1);
    }
    setenv("QX_LOG_RINGBUF_DIR", "/elsewhere", 1);
    const ElevatedProcess elevated;
    const TraceSettings settings = resolveSettings({5, 2, 3, 1, "/somewhere", 1});
    EXPECT_STREQ(settings.directory, "/somewhere");
    EXPECT_EQ(settings.level, 5U);
    EXPECT_EQ(settings.factor, 2U);
    EXPECT_EQ(settings.weight, 3U);
    EXPECT_EQ(settings.noHeaderToStderr, 1U);
    EXPECT_EQ(settings.perProcess, 1U);
}

TEST(ElevatedProcess, RecordsNoVariable) {
    setenv("QX_OS", "Linux", 1);
    std::optional<ElevatedProcess> elevated(std::in_place);
    recordEnvironment();
    for (const CDebug::TokVal& row : CDebug::m_TokValTabEnv) {
        EXPECT_EQ(row.value, nullptr);
    }
    elevated.reset();
    recordEnvironment();
    EXPECT_STREQ(std::begin(CDebug::m_TokValTabEnv)[2].value, "Linux");
}

TEST(ElevatedProcess, ExpandsNoVariableInTheRegistry) {
    const TemporaryDirectory directory;
    setenv("QX_SYSTEM_DIR", directory.path().c_str(), 1);
    setenv("VT_HOME", "/root", 1);
    writeFile(directory.file("registry"), "[HKEY_LOCAL_MACHINE]\nx=es=%VT_HOME%/x\n\n\n");
    CRegistry key(CRegistry::MLocalMachine);
    EXPECT_STREQ(key.GetValue("x"), "/root/x");
    const ElevatedProcess elevated;
    EXPECT_STREQ(key.GetValue("x"), "/x");
}

}  // namespace
}  // namespace varnock::test
