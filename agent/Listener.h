#pragma once

#include <sys/stat.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// The agent cannot start; the text contains the reason and the path.
struct StartError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A listening socket. The destructor removes a socket file that this object created, unless it has
/// been replaced since; it keeps one received from the service manager.
class Listener {
  public:
    /// Binds `path` with exactly the given permissions. A socket without a listener is replaced.
    /// Throws StartError if another process is listening, if another kind of file exists, or if the
    /// socket cannot be created.
    Listener(std::string path, mode_t mode);
    /// Takes over a listening socket opened by the service manager.
    Listener(std::string path, FileDescriptor fd);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int fd() const { return fd_.get(); }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
    FileDescriptor fd_;
    bool own_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

/// Prevents two agents from binding in the same directory at the same time: held while the
/// listeners are created. Throws StartError if another process holds it.
[[nodiscard]] FileDescriptor lockDirectory(const std::string& directory);

/// Removes and returns the service manager's socket whose path ends in `name`; empty if there is
/// none.
FileDescriptor takeInherited(std::vector<FileDescriptor>& sockets, const std::string& name);
/// The sockets passed by the service manager; removes its environment variables.
std::vector<FileDescriptor> inheritedSockets();

}  // namespace varnock::agent
