#pragma once

#include <sys/stat.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// The agent cannot start; the text says why and names the path.
struct StartError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A listening socket. One that it made itself it removes at the end, unless another has taken the
/// place since; one that was handed over it leaves alone.
class Listener {
  public:
    /// Binds path with exactly the permissions given. A socket that nobody listens on is replaced.
    /// Throws StartError when somebody does, when something else stands there, or when it cannot
    /// be made.
    Listener(std::string path, mode_t mode);
    /// Takes over a listening socket that the service manager has opened.
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

/// Keeps two agents from binding the same directory at the same time: held while the listeners are
/// made. Throws StartError when another holds it.
FileDescriptor lockDirectory(const std::string& directory);

/// A listening socket of the service manager's whose path ends in name, else an empty one. The
/// others stay where they are.
FileDescriptor takeInherited(std::vector<FileDescriptor>& sockets, const std::string& name);
/// The sockets that the service manager has passed to this process; its variables are removed.
std::vector<FileDescriptor> inheritedSockets();

}  // namespace varnock::agent
