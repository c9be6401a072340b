#pragma once

#include <cstddef>

#include "runtime/Debug.h"

/// Where the settings of the trace come from: the environment first, the registry second, the
/// built-in default last. Internal.
namespace varnock {

/// Reads what the registry holds for this application, creating its key if it is missing. False
/// when there is no registry to read.
bool readStoredSettings(const char* application, StoredTraceSettings& settings);

/// Settles every setting, and the size of the ring-buffer file that follows from them.
TraceSettings resolveSettings(const StoredTraceSettings& stored);

/// Fills the values of both token tables and perApplicationWeight() from the environment.
void recordEnvironment();

/// Name and recorded value of the environment variable that overrides the weight for this
/// application alone.
const CDebug::TokVal& perApplicationWeight();

/// The number that CDebug::SetConfiguredValue() settles on.
unsigned int configuredNumber(const char* variable, unsigned int stored, unsigned int byDefault);
/// The text that CDebug::SetConfiguredValue() settles on, in `out`.
void configuredText(const char* variable, const char* stored, const char* byDefault, char* out,
                    std::size_t size);

}  // namespace varnock
