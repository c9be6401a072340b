#include "runtime/trace/DebugSettings.h"
#include "runtime/trace/TraceSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace varnock {
namespace {

using testing::ElementsAre;

StoredTraceSettings nothingStored() {
    StoredTraceSettings stored{};
    stored.level = stored.factor = stored.weight = stored.noHeaderToStderr = stored.perProcess = -1;
    return stored;
}

/// Each test runs in its own process, without settings in the environment.
class DebugSettings : public testing::Test {
  protected:
    DebugSettings() {
        for (const char* name : {"QX_LOG_RINGBUF_DIR", "QX_LOG_DEBUG_LEVEL", "TraceFileLimit",
                                 "QX_LOG_RINGBUF_WEIGHT", "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER",
                                 "QX_LOG_NOHDR_TOSDTERR", "QX_LOG_RINGBUF_PER_PROCESS"}) {
            unsetenv(name);
        }
    }

    static void set(const char* name, const char* value) { setenv(name, value, 1); }
    static std::int64_t bytes(std::int64_t units) { return units * sysconf(_SC_PAGESIZE) * 256; }
};

TEST_F(DebugSettings, HaveDefaults) {
    const TraceSettings settings = resolveSettings(nothingStored());
    EXPECT_STREQ(settings.directory, "/var/log/qxmond");
    EXPECT_EQ(settings.level, 255U);
    EXPECT_EQ(settings.factor, 1U);
    EXPECT_EQ(settings.weight, 10U);
    EXPECT_EQ(settings.noHeaderToStderr, 0U);
    EXPECT_EQ(settings.perProcess, 0U);
    EXPECT_EQ(settings.ringBufferSize, bytes(10));
}

TEST_F(DebugSettings, TakeTheRegistryBeforeTheDefault) {
    StoredTraceSettings stored{5, 2, 3, 1, "/somewhere", 1};
    const TraceSettings settings = resolveSettings(stored);
    EXPECT_STREQ(settings.directory, "/somewhere");
    EXPECT_EQ(settings.level, 5U);
    EXPECT_EQ(settings.factor, 2U);
    EXPECT_EQ(settings.weight, 3U);
    EXPECT_EQ(settings.noHeaderToStderr, 1U);
    EXPECT_EQ(settings.perProcess, 1U);
    EXPECT_EQ(settings.ringBufferSize, bytes(6));
}

TEST_F(DebugSettings, TakeTheEnvironmentBeforeTheRegistry) {
    set("QX_LOG_RINGBUF_DIR", "/elsewhere");
    set("QX_LOG_DEBUG_LEVEL", "3");
    set("TraceFileLimit", "1");
    set("QX_LOG_RINGBUF_WEIGHT", "7");
    set("QX_LOG_NOHDR_TOSDTERR", "0");
    set("QX_LOG_RINGBUF_PER_PROCESS", "0");
    const TraceSettings settings = resolveSettings({5, 2, 3, 1, "/somewhere", 1});
    EXPECT_STREQ(settings.directory, "/elsewhere");
    EXPECT_EQ(settings.level, 3U);
    EXPECT_EQ(settings.factor, 1U);
    EXPECT_EQ(settings.weight, 7U);
    EXPECT_EQ(settings.noHeaderToStderr, 0U);
    EXPECT_EQ(settings.perProcess, 0U);
}

TEST_F(DebugSettings, CountAnEmptyVariableAsSet) {
    set("QX_LOG_RINGBUF_DIR", "");
    set("QX_LOG_DEBUG_LEVEL", "");
    const TraceSettings settings = resolveSettings({5, 2, 3, 1, "/somewhere"});
    EXPECT_STREQ(settings.directory, "");
    EXPECT_EQ(settings.level, 0U);
}

TEST_F(DebugSettings, LetTheVariableOfThisApplicationOverrideTheWeight) {
    set("QX_LOG_RINGBUF_WEIGHT", "7");
    set("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER", "4");
    const TraceSettings settings = resolveSettings({5, 1, 3, 1, ""});
    EXPECT_EQ(settings.weight, 4U);
    EXPECT_EQ(settings.ringBufferSize, bytes(4));
}

TEST_F(DebugSettings, LimitTheFactorToTwo) {
    for (const char* factor : {"7", "3", "2", "-1"}) {
        set("TraceFileLimit", factor);
        EXPECT_EQ(resolveSettings(nothingStored()).factor, 2U) << factor;
    }
    set("TraceFileLimit", "0");
    EXPECT_EQ(resolveSettings(nothingStored()).ringBufferSize, 0);
}

TEST_F(DebugSettings, GiveNoFileForAWeightOfZero) {
    set("QX_LOG_RINGBUF_WEIGHT", "0");
    EXPECT_EQ(resolveSettings(nothingStored()).ringBufferSize, 0);
    set("QX_LOG_RINGBUF_WEIGHT", "many");
    EXPECT_EQ(resolveSettings(nothingStored()).ringBufferSize, 0);
}

TEST_F(DebugSettings, WrapTheProductOfWeightAndFactorAt32Bits) {
    set("TraceFileLimit", "2");
    set("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER", "2147483648");
    EXPECT_EQ(resolveSettings(nothingStored()).ringBufferSize, 0);
    set("TraceFileLimit", "1");
    set("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER", "-1");
    EXPECT_EQ(resolveSettings(nothingStored()).ringBufferSize, bytes(0xFFFFFFFF));
}

TEST_F(DebugSettings, CutADirectoryTo259Characters) {
    const std::string longName(300, 'd');
    set("QX_LOG_RINGBUF_DIR", longName.c_str());
    EXPECT_EQ(resolveSettings(nothingStored()).directory, longName.substr(0, 259));
}

TEST_F(DebugSettings, RecordTheEnvironmentInBothTables) {
    set("QX_OS", "Linux");
    unsetenv("QX_SYSTEM");
    set("UserGroup", "");
    set("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER", "2");
    recordEnvironment();
    EXPECT_STREQ(CDebug::m_TokValTabEnv[2].value, "Linux");
    EXPECT_EQ(CDebug::m_TokValTabEnv[1].value, nullptr);
    EXPECT_STREQ(CDebug::m_TokValTabCfg[3].value, "");
    EXPECT_STREQ(perApplicationWeight().name, "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER");
    EXPECT_STREQ(perApplicationWeight().value, "2");
}

TEST_F(DebugSettings, KeepWhatTheEnvironmentWasWhenTheHostChangesIt) {
    static char variable[] = "QX_OS=Linux";  // from now on part of the environment
    ASSERT_EQ(putenv(variable), 0);
    set("UserGroup", "operators");
    set("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER", "2");
    recordEnvironment();
    strcpy(variable, "QX_OS=other");
    set("UserGroup", "others");
    set("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER", "3");
    EXPECT_STREQ(CDebug::m_TokValTabEnv[2].value, "Linux");
    EXPECT_STREQ(CDebug::m_TokValTabCfg[3].value, "operators");
    EXPECT_STREQ(perApplicationWeight().value, "2");
    recordEnvironment();
    EXPECT_STREQ(CDebug::m_TokValTabEnv[2].value, "other");
    unsetenv("QX_OS");
    recordEnvironment();
    EXPECT_EQ(CDebug::m_TokValTabEnv[2].value, nullptr);
}

std::vector<std::string> namesOf(const CDebug::TokVal* table) {
    std::vector<std::string> names;
    for (; table->name != nullptr; ++table) {
        names.emplace_back(table->name);
    }
    return names;
}

TEST(TokenTables, NameTheEnvironmentInOrder) {
    EXPECT_THAT(
        namesOf(CDebug::m_TokValTabEnv),
        ElementsAre("LD_LIBRARY_PATH", "QX_SYSTEM", "QX_OS", "QX_OS_MAJOR", "QX_OS_MINOR",
                    "QX_VVOS", "QX_RELEASE", "QX_VENDOR", "QX_HOSTNAME", "QX_HOSTOSREVMAJOR",
                    "QX_HOSTOSREVMINOR", "QX_SYSNAME", "QX_VERSION", "QX_NICKNAME", "QX_HWPLATFORM",
                    "QX_IS_MARQUILL", "QX_IS_MARQUILL2000", "QX_RUNNINGONVM", "QX_RUNNINGONPAN",
                    "QX_VMREL", "QX_ARCH", "QX_REPO", "QX_RAID_EXISTS", "QX_RAID_READY",
                    "QX_RAID_VERSION", "QX_INSTALL_DATE", "QX_USE_SG_IO_HDR_T", "QX_USE_SNMPLIB",
                    "QX_USE_SNMPLIB_LOCK", "QX_AGENT_X_SOCKET", "QX_RAGD_REPLY_TIME",
                    "QX_DAEMON_COREFILE_LIMIT", "QX_VME_WAIT_TIME_FOR_VMSERVER",
                    "QX_SCS_PROVIDER_TRACE", "QX_SCS_NOSIGNAL", "QX_SCS_DEBUG_LEVEL",
                    "QX_LOG_RINGBUF_DIR", "QX_LOG_DEBUG_LEVEL", "QX_LOG_RINGBUF_WEIGHT",
                    "QX_LOG_NOHDR_TOSDTERR", "ZUL_QX_HOME", "ZUL_SYSLOG_FIFO"));
}

TEST(TokenTables, NameTheConfigurationInOrder) {
    EXPECT_THAT(namesOf(CDebug::m_TokValTabCfg),
                ElementsAre("AgentPermission", "AgentShut", "ShutdownDelay", "UserGroup",
                            "ScanTapeDevices", "TraceFileLimit", "NoAccountCheck",
                            "InventoryRescan", "CDPollInterval", "AgentsToBeStarted",
                            "WaitForRagdSockets", "WaitForRagdTerm", "InvAgtPollNetUtilization"));
}

TEST(TraceRegistryNames, AreThoseOfTheInstallation) {
    EXPECT_STREQ(REGPATH_DBGTRACE, "SOFTWARE\\Debug");
    EXPECT_STREQ(REGVAL_DBG_LEVEL, "DebugLevel");
    EXPECT_STREQ(REGVAL_RINGBUF_DIR, "RingBufferDirectory");
    EXPECT_STREQ(REGVAL_RINGBUF_FACTOR, "RingBufferSizeFactor");
    EXPECT_STREQ(REGVAL_RINGBUF_WEIGHT, "RingBufferSizeWeight");
    EXPECT_STREQ(REGVAL_NO_HDR_TO_STDERR, "NoHeaderToStderr");
}

TEST(SetConfiguredValue, PrefersEnvironmentThenRegistryThenDefaultForNumbers) {
    unsigned int out = 0;
    unsetenv("VARNOCK_TEST_VALUE");
    Debug.SetConfiguredValue("VARNOCK_TEST_VALUE", ~0U, 9, &out);
    EXPECT_EQ(out, 9U);
    Debug.SetConfiguredValue("VARNOCK_TEST_VALUE", 5, 9, &out);
    EXPECT_EQ(out, 5U);
    setenv("VARNOCK_TEST_VALUE", " 3x", 1);
    Debug.SetConfiguredValue("VARNOCK_TEST_VALUE", 5, 9, &out);
    EXPECT_EQ(out, 3U);
    Debug.SetConfiguredValue(nullptr, 5, 9, &out);
    EXPECT_EQ(out, 5U);
    setenv("VARNOCK_TEST_VALUE", "-1", 1);
    Debug.SetConfiguredValue("VARNOCK_TEST_VALUE", 5, 9, &out);
    EXPECT_EQ(out, ~0U);
    Debug.SetConfiguredValue("VARNOCK_TEST_VALUE", 5, 9, nullptr);
}

TEST(SetConfiguredValue, PrefersEnvironmentThenRegistryThenDefaultForTexts) {
    char out[8] = "before";
    unsetenv("VARNOCK_TEST_VALUE");
    Debug.SetConfiguredValue("VARNOCK_TEST_VALUE", "", "default", out, sizeof out);
    EXPECT_STREQ(out, "default");
    Debug.SetConfiguredValue(nullptr, nullptr, "other", out, sizeof out);
    EXPECT_STREQ(out, "other");
    Debug.SetConfiguredValue("VARNOCK_TEST_VALUE", "stored", "default", out, sizeof out);
    EXPECT_STREQ(out, "stored");
    setenv("VARNOCK_TEST_VALUE", "environment", 1);
    Debug.SetConfiguredValue("VARNOCK_TEST_VALUE", "stored", "default", out, sizeof out);
    EXPECT_STREQ(out, "environ");
    Debug.SetConfiguredValue(nullptr, nullptr, nullptr, out, sizeof out);
    EXPECT_STREQ(out, "");
}

TEST(SetConfiguredValue, LeavesNoRoomAlone) {
    char out[2] = "x";
    Debug.SetConfiguredValue(nullptr, "stored", "default", out, 0);
    EXPECT_STREQ(out, "x");
    Debug.SetConfiguredValue(nullptr, "stored", "default", out, 1);
    EXPECT_STREQ(out, "");
    Debug.SetConfiguredValue(nullptr, "stored", "default", nullptr, 8);
}

TEST(BuildAppVarName, AppendsTheUpperCaseApplication) {
    char name[48] = "QX_LOG_RINGBUF_WEIGHT";
    CDebug::BuildAppVarName(name, sizeof name);
    EXPECT_STREQ(name, "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER");
}

TEST(BuildAppVarName, StopsWhereTheRoomEnds) {
    char name[8] = "AB";
    CDebug::BuildAppVarName(name, sizeof name);
    EXPECT_STREQ(name, "AB_CIM_");
    char full[3] = "AB";
    CDebug::BuildAppVarName(full, sizeof full);
    EXPECT_STREQ(full, "AB");
}

TEST(BuildAppVarName, EndsAnUnterminatedBuffer) {
    char name[4] = {'A', 'B', 'C', 'D'};
    CDebug::BuildAppVarName(name, sizeof name);
    EXPECT_STREQ(name, "ABC");
}

TEST(BuildAppVarName, DoesNothingWithoutRoom) {
    char name[2] = "A";
    CDebug::BuildAppVarName(name, 0);
    EXPECT_STREQ(name, "A");
    CDebug::BuildAppVarName(nullptr, 10);
}

}  // namespace
}  // namespace varnock
