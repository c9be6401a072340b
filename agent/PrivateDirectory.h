#pragma once

#include <sys/types.h>

#include <filesystem>

#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// A directory of its own, for this user alone, with a path short enough for sockets. It is removed
/// with its contents at the end, however that comes: a small guardian process waits for the end of
/// this one and then removes what is left, even when this process was killed.
class PrivateDirectory {
  public:
    /// Forks, so no thread may run yet. Throws std::system_error.
    PrivateDirectory();
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    /// Leaves the directory where it is, for looking at it afterwards.
    void keep();

  private:
    void startGuardian();

    std::filesystem::path path_;
    FileDescriptor leash_;
    pid_t guardian_ = -1;
    bool kept_ = false;
};

}  // namespace varnock::agent
