#pragma once

#include <cstddef>

#include "runtime/Debug.h"

// The settings of the trace: the parts that only the library uses. TraceSettings.h has the rest.
// Internal.
namespace varnock {

/// Reads the settings of this application from the registry, and creates its key if it is missing.
/// False without a registry.
[[nodiscard]] bool readStoredSettings(const char* application, StoredTraceSettings& settings);

/// Fills the values of both token tables and perApplicationWeight() from the environment.
void recordEnvironment();

/// Name and recorded value of the environment variable that overrides the weight for this
/// application alone.
const CDebug::TokVal& perApplicationWeight();

/// The result of CDebug::SetConfiguredValue() for a number.
unsigned int configuredNumber(const char* variable, unsigned int stored, unsigned int byDefault);
/// The result of CDebug::SetConfiguredValue() for a text, in `out`.
void configuredText(const char* variable, const char* stored, const char* byDefault, char* out,
                    std::size_t size);

}  // namespace varnock
