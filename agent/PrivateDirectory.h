#pragma once

#include <sys/types.h>

#include <filesystem>

#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// A temporary directory accessible only to this user, with a path short enough for sockets. It is
/// always removed with its contents: a small guardian process waits for the end of this process and
/// removes the rest, even if this process is killed. A forked child leaves the directory alone.
class PrivateDirectory {
  public:
    /// Forks, so no other thread may be running. Throws std::system_error.
    PrivateDirectory();
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    /// Keeps the directory for later inspection.
    void keep();

  private:
    void startGuardian();

    std::filesystem::path path_;
    FileDescriptor leash_;
    pid_t owner_;
    pid_t guardian_ = -1;
    bool kept_ = false;
};

}  // namespace varnock::agent
