#pragma once

#include <functional>
#include <string>
#include <utility>

#include "agent/Health.h"
#include "agent/model/MachineModel.h"

namespace varnock::agent {

/// Something that a machine notes in its message log.
struct LogNote {
    unsigned message;  ///< number of the message
    Severity severity;
    std::string text;
};

/// Appends to the message logs of a machine.
class MachineLog {
  public:
    /// Is told the number of a new entry and the number of its cabinet.
    using Listener = std::function<void(unsigned number, unsigned cabinet)>;

    explicit MachineLog(MachineModel& model) : model_(model) {}

    void listen(Listener listener) { listener_ = std::move(listener); }

    /// Appends to the log of the cabinet at a position. False if the cabinet has no log, or its log
    /// is full and keeps its oldest entry.
    bool append(unsigned cabinet, const LogNote& note);
    /// The same for the cabinet with a number.
    bool appendTo(unsigned number, const LogNote& note);

  private:
    MachineModel& model_;
    Listener listener_;
};

}  // namespace varnock::agent
