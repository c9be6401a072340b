#pragma once

#include <stdexcept>
#include <string>

#include "cli/output/ExitStatus.h"

namespace varnockctl {

/// Ends a command. The message is printed to standard error and is the member "error" of the JSON
/// document.
class Failure : public std::runtime_error {
  public:
    Failure(ExitStatus status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

}  // namespace varnockctl
