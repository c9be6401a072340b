#include "runtime/trace/DebugSettings.h"

#include <stdlib.h>
#include <string.h>

#include <iterator>

#include "runtime/Registry.h"
#include "runtime/trace/TraceSettings.h"

constinit const char* REGPATH_DBGTRACE = "SOFTWARE\\Debug";
constinit const char* REGVAL_DBG_LEVEL = "DebugLevel";
constinit const char* REGVAL_RINGBUF_DIR = "RingBufferDirectory";
constinit const char* REGVAL_RINGBUF_FACTOR = "RingBufferSizeFactor";
constinit const char* REGVAL_RINGBUF_WEIGHT = "RingBufferSizeWeight";
constinit const char* REGVAL_NO_HDR_TO_STDERR = "NoHeaderToStderr";
constinit const char* REGVAL_RINGBUF_PER_PROCESS = "RingBufferPerProcess";

constinit CDebug::TokVal CDebug::m_TokValTabEnv[43] = {
    {"LD_LIBRARY_PATH", nullptr},
    {"QX_SYSTEM", nullptr},
    {"QX_OS", nullptr},
    {"QX_OS_MAJOR", nullptr},
    {"QX_OS_MINOR", nullptr},
    {"QX_VVOS", nullptr},
    {"QX_RELEASE", nullptr},
    {"QX_VENDOR", nullptr},
    {"QX_HOSTNAME", nullptr},
    {"QX_HOSTOSREVMAJOR", nullptr},
    {"QX_HOSTOSREVMINOR", nullptr},
    {"QX_SYSNAME", nullptr},
    {"QX_VERSION", nullptr},
    {"QX_NICKNAME", nullptr},
    {"QX_HWPLATFORM", nullptr},
    {"QX_IS_MARQUILL", nullptr},
    {"QX_IS_MARQUILL2000", nullptr},
    {"QX_RUNNINGONVM", nullptr},
    {"QX_RUNNINGONPAN", nullptr},
    {"QX_VMREL", nullptr},
    {"QX_ARCH", nullptr},
    {"QX_REPO", nullptr},
    {"QX_RAID_EXISTS", nullptr},
    {"QX_RAID_READY", nullptr},
    {"QX_RAID_VERSION", nullptr},
    {"QX_INSTALL_DATE", nullptr},
    {"QX_USE_SG_IO_HDR_T", nullptr},
    {"QX_USE_SNMPLIB", nullptr},
    {"QX_USE_SNMPLIB_LOCK", nullptr},
    {"QX_AGENT_X_SOCKET", nullptr},
    {"QX_RAGD_REPLY_TIME", nullptr},
    {"QX_DAEMON_COREFILE_LIMIT", nullptr},
    {"QX_VME_WAIT_TIME_FOR_VMSERVER", nullptr},
    {"QX_SCS_PROVIDER_TRACE", nullptr},
    {"QX_SCS_NOSIGNAL", nullptr},
    {"QX_SCS_DEBUG_LEVEL", nullptr},
    {varnock::kTraceDirectoryVariable, nullptr},
    {varnock::kTraceLevelVariable, nullptr},
    {varnock::kTraceWeightVariable, nullptr},
    {varnock::kTraceNoHeaderVariable, nullptr},
    {"ZUL_QX_HOME", nullptr},
    {"ZUL_SYSLOG_FIFO", nullptr},
    {nullptr, nullptr},
};

constinit CDebug::TokVal CDebug::m_TokValTabCfg[14] = {
    {"AgentPermission", nullptr},
    {"AgentShut", nullptr},
    {"ShutdownDelay", nullptr},
    {"UserGroup", nullptr},
    {"ScanTapeDevices", nullptr},
    {varnock::kTraceFactorVariable, nullptr},
    {"NoAccountCheck", nullptr},
    {"InventoryRescan", nullptr},
    {"CDPollInterval", nullptr},
    {"AgentsToBeStarted", nullptr},
    {"WaitForRagdSockets", nullptr},
    {"WaitForRagdTerm", nullptr},
    {"InvAgtPollNetUtilization", nullptr},
    {nullptr, nullptr},
};

namespace varnock {
namespace {

constinit char weightVariableName[48] = {};
constinit CDebug::TokVal weightVariable = {weightVariableName, nullptr};

/// Builds the name at each use: the trace needs it before the first constructor.
const char* ownWeightName() {
    makeOwnWeightVariable(weightVariableName);
    return weightVariableName;
}

/// The recorded values: one for each row of both tables, and one for the variable above. Never
/// freed, because the trace outlives all other objects.
constinit char*
    recordedValues[std::size(CDebug::m_TokValTabEnv) + std::size(CDebug::m_TokValTabCfg) - 1] = {};

/// Records a copy: the trace prints it at every wrap, and the host may change or free its
/// environment.
void record(CDebug::TokVal& row, char*& copy) {
    const char* value = secure_getenv(row.name);
    free(copy);
    copy = value != nullptr ? strdup(value) : nullptr;
    row.value = copy != nullptr ? copy : value;
}

int storedNumber(CRegistry& registry, const char* name) {
    unsigned int number = 0;
    return registry.QueryValue(&number, name) == 0 ? static_cast<int>(number) : kNoStoredNumber;
}

void readFrom(CRegistry& registry, StoredTraceSettings& settings) {
    takeStoredDirectory(settings, registry);
    takeStoredNumbers(settings, [&](const char* name) { return storedNumber(registry, name); });
}

enum class Found { nothing, registry, key };

/// Reads the key if it exists. The registry object is destroyed before a change is made: otherwise
/// its destructor would save.
void readExisting(const char* path, StoredTraceSettings& settings, Found& found) {
    CRegistry registry;
    if (CRegistry::MLocalMachine != nullptr) {
        const bool isOpen = registry.Open(path, CRegistry::MLocalMachine) == 0;
        readFrom(registry, settings);
        found = isOpen ? Found::key : Found::registry;
    }
}

/// Creates the key in the current tree of the file: a process that starts while another one saves
/// must not restore the old tree.
[[nodiscard]] bool create(const char* path, StoredTraceSettings& settings) {
    bool created = false;
    CRegistry::UpdateTree([&] {
        CRegistry registry;
        created = registry.CreateKey(CRegistry::MLocalMachine, path) == 0;
        readFrom(registry, settings);
        return created;
    });
    return created;
}

}  // namespace

void recordEnvironment() {
    ownWeightName();
    char** copy = recordedValues;
    for (CDebug::TokVal* table : {CDebug::m_TokValTabEnv, CDebug::m_TokValTabCfg}) {
        for (; table->name != nullptr; ++table) {
            record(*table, *copy++);
        }
    }
    record(weightVariable, *copy);
}

const CDebug::TokVal& perApplicationWeight() {
    ownWeightName();
    return weightVariable;
}

bool readStoredSettings(const char* application, StoredTraceSettings& settings) {
    char path[260];
    makeTraceKeyPath(path, application);
    Found found = Found::nothing;
    try {
        readExisting(path, settings, found);
        if (found == Found::registry && !create(path, settings)) {
            settings = StoredTraceSettings{};
            found = Found::nothing;
        }
    } catch (int) {
        // The tree could not be saved, and the message is printed. The values read count.
    }
    return found != Found::nothing;
}

unsigned int configuredNumber(const char* variable, unsigned int stored, unsigned int byDefault) {
    const char* value = variable != nullptr ? secure_getenv(variable) : nullptr;
    if (value != nullptr) {
        return static_cast<unsigned int>(atoi(value));
    }
    return stored != ~0U ? stored : byDefault;
}

void configuredText(const char* variable, const char* stored, const char* byDefault, char* out,
                    std::size_t size) {
    if (out == nullptr || size == 0) {
        return;
    }
    const char* value = variable != nullptr ? secure_getenv(variable) : nullptr;
    if (value == nullptr) {
        value = stored != nullptr && *stored != '\0' ? stored : byDefault;
    }
    strncpy(out, value != nullptr ? value : "", size);
    out[size - 1] = '\0';
}

}  // namespace varnock
