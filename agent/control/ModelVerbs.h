#pragma once

#include <functional>
#include <string>

namespace varnock::agent {

class Control;
class MachineLog;
class MachineModel;

/// Adds `get`, `set`, `reset`, `list` and `overrides`. The model must outlive the control.
void addModelVerbs(Control& control, MachineModel& model);

/// Adds `save`, which writes a `file`. `state` gives its text.
void addSaveVerb(Control& control, std::function<std::string()> state);

/// Adds `log`, which appends an entry with a `text`. The log must outlive the control.
void addLogVerb(Control& control, MachineLog& log);

/// Adds these verbs for a machine whose values cannot be changed: they say so.
void refuseModelVerbs(Control& control);

}  // namespace varnock::agent
