#pragma once

#include <stdio.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "runtime/Debug.h"
#include "runtime/Registry.h"

// The settings of the trace and their sources: the environment, then the registry, then the
// built-in default. The library uses this at its start, the command line when it searches the trace
// files. Internal, shared with the tools.
namespace varnock {

// The names are fixed, because installations set them: the factor has the name of a key in the
// agent's configuration file, and TOSDTERR is spelt so.

/// The prefix of all these variables, except the factor.
inline constexpr char kTraceVariablePrefix[] = "QX_LOG_";
inline constexpr char kTraceDirectoryVariable[] = "QX_LOG_RINGBUF_DIR";
inline constexpr char kTraceLevelVariable[] = "QX_LOG_DEBUG_LEVEL";
inline constexpr char kTraceFactorVariable[] = "TraceFileLimit";
inline constexpr char kTraceWeightVariable[] = "QX_LOG_RINGBUF_WEIGHT";
inline constexpr char kTraceNoHeaderVariable[] = "QX_LOG_NOHDR_TOSDTERR";
inline constexpr char kTracePerProcessVariable[] = "QX_LOG_RINGBUF_PER_PROCESS";

inline constexpr char kDefaultTraceDirectory[] = "/var/log/qxmond";
inline constexpr unsigned int kDefaultTraceLevel = 255;
inline constexpr unsigned int kDefaultTraceFactor = 1;
inline constexpr unsigned int kLargestTraceFactor = 2;
inline constexpr unsigned int kDefaultTraceWeight = 10;

/// Makes the name of the variable that sets the weight for this application alone.
template <std::size_t kSize>
void makeOwnWeightVariable(char (&name)[kSize]) {
    snprintf(name, kSize, "%s", kTraceWeightVariable);
    CDebug::BuildAppVarName(name, kSize);
}

/// Makes the path of the application's key below the local machine.
template <std::size_t kSize>
void makeTraceKeyPath(char (&path)[kSize], const char* application) {
    snprintf(path, kSize, "%s\\%s", REGPATH_DBGTRACE, application);
}

/// Replaces a number that the registry does not have.
inline constexpr int kNoStoredNumber = -1;
/// The settings of an empty registry.
inline constexpr StoredTraceSettings kNothingStored{
    kNoStoredNumber, kNoStoredNumber, kNoStoredNumber, kNoStoredNumber, "", kNoStoredNumber};

/// Reads the directory from the application's key.
inline void takeStoredDirectory(StoredTraceSettings& stored, CRegistry& key) {
    if (key.QueryValue(stored.directory, REGVAL_RINGBUF_DIR, sizeof stored.directory) != 0) {
        stored.directory[0] = '\0';
    }
}

/// Reads the numbers. `number(name)` returns the value of this name, or kNoStoredNumber.
template <typename Number>
void takeStoredNumbers(StoredTraceSettings& stored, Number number) {
    stored.level = number(REGVAL_DBG_LEVEL);
    stored.factor = number(REGVAL_RINGBUF_FACTOR);
    stored.weight = number(REGVAL_RINGBUF_WEIGHT);
    stored.noHeaderToStderr = number(REGVAL_NO_HDR_TO_STDERR);
    stored.perProcess = number(REGVAL_RINGBUF_PER_PROCESS);
}

/// Resolves every setting, and the size of the ring-buffer file.
inline TraceSettings resolveSettings(const StoredTraceSettings& stored) {
    const auto number = [](const char* variable, unsigned int inRegistry, unsigned int byDefault) {
        unsigned int settled = 0;
        Debug.SetConfiguredValue(variable, inRegistry, byDefault, &settled);
        return settled;
    };
    const auto fromRegistry = [](int value) { return static_cast<unsigned int>(value); };
    TraceSettings settings{};
    Debug.SetConfiguredValue(kTraceDirectoryVariable, stored.directory, kDefaultTraceDirectory,
                             settings.directory, sizeof settings.directory);
    settings.level = number(kTraceLevelVariable, fromRegistry(stored.level), kDefaultTraceLevel);
    settings.factor =
        number(kTraceFactorVariable, fromRegistry(stored.factor), kDefaultTraceFactor);
    settings.weight =
        number(kTraceWeightVariable, fromRegistry(stored.weight), kDefaultTraceWeight);
    settings.noHeaderToStderr =
        number(kTraceNoHeaderVariable, fromRegistry(stored.noHeaderToStderr), 0);
    settings.perProcess = number(kTracePerProcessVariable, fromRegistry(stored.perProcess), 0);

    char ownWeight[48];
    makeOwnWeightVariable(ownWeight);
    settings.weight = number(ownWeight, ~0U, settings.weight);
    if (settings.factor > kLargestTraceFactor) {
        settings.factor = kLargestTraceFactor;
    }
    // The product wraps at 32 bits before it is widened. Users rely on it.
    const long pageSize = sysconf(_SC_PAGESIZE);
    const std::uint32_t product = settings.weight * settings.factor;
    settings.ringBufferSize = std::int64_t{product} * (pageSize < 1 ? 4096 : pageSize) * 256;
    return settings;
}

}  // namespace varnock
