#include "runtime/trace/DebugSettings.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <iterator>

#include "runtime/Registry.h"

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
    {"QX_LOG_RINGBUF_DIR", nullptr},
    {"QX_LOG_DEBUG_LEVEL", nullptr},
    {"QX_LOG_RINGBUF_WEIGHT", nullptr},
    {"QX_LOG_NOHDR_TOSDTERR", nullptr},
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
    {"TraceFileLimit", nullptr},
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

constexpr const char* kWeightVariable = "QX_LOG_RINGBUF_WEIGHT";
constexpr unsigned int kLargestFactor = 2;

constinit char weightVariableName[48] = {};
constinit CDebug::TokVal weightVariable = {weightVariableName, nullptr};

/// Put together at each use: the trace needs it before any constructor has run.
const char* ownWeightName() {
    strncpy(weightVariableName, kWeightVariable, sizeof weightVariableName - 1);
    CDebug::BuildAppVarName(weightVariableName, sizeof weightVariableName);
    return weightVariableName;
}

/// The values recorded, one for each row of both tables and for the variable above. Never freed:
/// the trace lives longer than everything else.
constinit char*
    recordedValues[std::size(CDebug::m_TokValTabEnv) + std::size(CDebug::m_TokValTabCfg) - 1] = {};

/// Records a copy. The trace shows it at every wrap, and the host may change or free what it has
/// put into the environment.
void record(CDebug::TokVal& row, char*& copy) {
    const char* value = getenv(row.name);
    free(copy);
    copy = value != nullptr ? strdup(value) : nullptr;
    row.value = copy != nullptr ? copy : value;
}

std::int64_t pageSize() {
    const long size = sysconf(_SC_PAGESIZE);
    return size < 1 ? 4096 : size;
}

unsigned int fromRegistry(int value) {
    return static_cast<unsigned int>(value);
}

int storedNumber(CRegistry& registry, const char* name) {
    unsigned int number = 0;
    return registry.QueryValue(&number, name) == 0 ? static_cast<int>(number) : -1;
}

void readFrom(CRegistry& registry, StoredTraceSettings& settings) {
    if (registry.QueryValue(settings.directory, REGVAL_RINGBUF_DIR, sizeof settings.directory) !=
        0) {
        settings.directory[0] = '\0';
    }
    settings.level = storedNumber(registry, REGVAL_DBG_LEVEL);
    settings.factor = storedNumber(registry, REGVAL_RINGBUF_FACTOR);
    settings.weight = storedNumber(registry, REGVAL_RINGBUF_WEIGHT);
    settings.noHeaderToStderr = storedNumber(registry, REGVAL_NO_HDR_TO_STDERR);
    settings.perProcess = storedNumber(registry, REGVAL_RINGBUF_PER_PROCESS);
}

enum class Found { nothing, registry, key };

// The object ends here, before anything is changed: it would save.
void readExisting(const char* path, StoredTraceSettings& settings, Found& found) {
    CRegistry registry;
    if (CRegistry::MLocalMachine != nullptr) {
        const bool isOpen = registry.Open(path, CRegistry::MLocalMachine) == 0;
        readFrom(registry, settings);
        found = isOpen ? Found::key : Found::registry;
    }
}

// Enters the key into the file as it is at this moment: a process that starts while another one
// saves must not put back what was there before.
bool create(const char* path, StoredTraceSettings& settings) {
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
    snprintf(path, sizeof path, "%s\\%s", REGPATH_DBGTRACE, application);
    Found found = Found::nothing;
    try {
        readExisting(path, settings, found);
        if (found == Found::registry && !create(path, settings)) {
            settings = StoredTraceSettings{};
            found = Found::nothing;
        }
    } catch (int) {
        // The tree could not be saved, which has been printed. What was read counts.
    }
    return found != Found::nothing;
}

TraceSettings resolveSettings(const StoredTraceSettings& stored) {
    TraceSettings settings{};
    configuredText("QX_LOG_RINGBUF_DIR", stored.directory, "/var/log/qxmond", settings.directory,
                   sizeof settings.directory);
    settings.level = configuredNumber("QX_LOG_DEBUG_LEVEL", fromRegistry(stored.level), 255);
    // The factor has the name of a key of the agent's configuration file, and the last variable
    // is spelt TOSDTERR: installations set them under these names.
    settings.factor = configuredNumber("TraceFileLimit", fromRegistry(stored.factor), 1);
    settings.weight = configuredNumber(kWeightVariable, fromRegistry(stored.weight), 10);
    settings.noHeaderToStderr =
        configuredNumber("QX_LOG_NOHDR_TOSDTERR", fromRegistry(stored.noHeaderToStderr), 0);
    settings.perProcess =
        configuredNumber("QX_LOG_RINGBUF_PER_PROCESS", fromRegistry(stored.perProcess), 0);

    if (const char* own = getenv(ownWeightName())) {
        settings.weight = static_cast<unsigned int>(atol(own));
    }
    if (settings.factor > kLargestFactor) {
        settings.factor = kLargestFactor;
    }
    // The product wraps at 32 bits before it is widened, as it always has.
    settings.ringBufferSize = std::int64_t{settings.weight * settings.factor} * pageSize() * 256;
    return settings;
}

unsigned int configuredNumber(const char* variable, unsigned int stored, unsigned int byDefault) {
    const char* value = variable != nullptr ? getenv(variable) : nullptr;
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
    const char* value = variable != nullptr ? getenv(variable) : nullptr;
    if (value == nullptr) {
        value = stored != nullptr && *stored != '\0' ? stored : byDefault;
    }
    strncpy(out, value != nullptr ? value : "", size);
    out[size - 1] = '\0';
}

}  // namespace varnock
