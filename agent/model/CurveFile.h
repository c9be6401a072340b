#pragma once

#include <string>

#include "agent/model/Node.h"
#include "catalogue/Shape.h"

namespace varnock::agent {

/// Replaces each value {"file": NAME} by the curve in the file, whose lines are a time, a comma and
/// a value. A relative name begins at `folder`. Throws BadMachineFile with file and line.
void readCurveFiles(Node& machine, const catalogue::Shape& shape, const std::string& folder,
                    JsonHeap& heap);

}  // namespace varnock::agent
