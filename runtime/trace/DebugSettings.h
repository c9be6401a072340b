#pragma once

#include <cstddef>

#include "runtime/Debug.h"

// What the library alone does with the settings of the trace, which TraceSettings.h settles.
// Internal.
namespace varnock {

/// Reads what the registry holds for this application, creating its key if it is missing. False
/// when there is no registry to read.
[[nodiscard]] bool readStoredSettings(const char* application, StoredTraceSettings& settings);

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
