#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/described/ScanSessions.h"
#include "agent/faults/FaultRules.h"
#include "agent/model/MachineModel.h"

namespace varnock::agent {

/// An override in a saved state.
struct SavedOverride {
    std::string path;
    std::string value;  ///< JSON
    std::string owner;
    std::optional<double> secondsLeft;
};

/// All that makes a described machine answer as it does at one moment.
struct SavedState {
    Document machine;    ///< without the overrides
    double elapsed = 0;  ///< seconds since the machine was switched on
    std::vector<SavedOverride> overrides;
    ScanSessions scans;
    FaultRules::State faults;
};

/// The state as JSON, for a file.
[[nodiscard]] std::string stateText(MachineModel& model, const ScanSessions& scans,
                                    const FaultRules::State& faults);

/// A state from the text of a file. Throws BadMachineFile.
void readState(const std::string& text, const std::string& file, SavedState& state);

/// A state from a file. Throws BadMachineFile.
void loadState(const std::string& path, SavedState& state);

/// Writes a state to a file, which it replaces. Throws Refusal if it cannot.
void saveState(const std::string& path, const std::string& text);

}  // namespace varnock::agent
