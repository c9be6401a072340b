#pragma once

#include <utility>

#include "agent/Machine.h"
#include "agent/described/CommandTable.h"
#include "agent/described/ScanSessions.h"
#include "agent/model/MachineModel.h"

namespace varnock::agent {

/// Answers commands from a model, and changes it by them. Not thread-safe.
class ModelAnswer {
  public:
    /// Whether clients may change the values of the machine.
    enum class Changes { accepted, refused };

    /// The model must outlive the object. The scans are those that clients have opened before.
    ModelAnswer(MachineModel& model, Changes changes, ScanSessions scans = {})
        : model_(model), changes_(changes), scans_(std::move(scans)) {}

    /// A negative answer says why there is no value, and where the description would have it.
    Answer answer(const Command& command);

    /// The command's place in the model; null if the catalogue does not have the command.
    [[nodiscard]] const catalogue::ModelPath* pathOf(const Command& command) const;

    const ScanSessions& scans() const { return scans_; }

  private:
    const Route* routeOf(const Command& command) const;

    MachineModel& model_;
    Changes changes_;
    ScanSessions scans_;
    CommandTable table_;
};

}  // namespace varnock::agent
