#pragma once

#include <stdexcept>
#include <string>

#include "cli/output/ExitStatus.h"

namespace varnockctl {

/// Ends a command: the message goes to standard error and, as "error", into the JSON document.
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

}  // namespace varnockctl
