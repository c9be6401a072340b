#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace varnock::bench {

/// A command with its environment, whose output is thrown away.
class Program {
  public:
    /// The variables are added to those of this process.
    Program(std::vector<std::string> command, const std::map<std::string, std::string>& variables);

    /// Starts a process. Throws std::system_error.
    pid_t start() const;
    /// Runs a process to its end; false if it fails. Throws std::system_error.
    bool run() const;

  private:
    std::vector<std::string> command_;
    std::vector<std::string> environment_;
};

}  // namespace varnock::bench
