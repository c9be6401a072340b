#include "agent/Listener.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace varnock::agent {
namespace {

StartError failure(const std::string& path, const std::string& what, int error) {
    return StartError(path + ": " + what + ": " + std::strerror(error));
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw StartError(path + ": longer than the 107 characters of a socket's address");
    }
    path.copy(address.sun_path, path.size());
    return address;
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

FileDescriptor newSocket(const std::string& path) {
    FileDescriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd) {
        throw failure(path, "cannot make a socket", errno);
    }
    return fd;
}

/// Only a refused connection proves that no process is listening.
void removeStale(const std::string& path, const sockaddr_un& address) {
    struct stat found {};
    if (lstat(path.c_str(), &found) != 0) {
        return;
    }
    if (!S_ISSOCK(found.st_mode)) {
        throw StartError(path + ": exists and is not a socket");
    }
    const FileDescriptor probe = newSocket(path);
    if (connect(probe.get(), generic(address), sizeof address) == 0 || errno == EAGAIN) {
        throw StartError(path + ": another agent is listening there");
    }
    if (errno != ECONNREFUSED) {
        throw failure(path, "cannot tell whether another agent is listening", errno);
    }
    if (unlink(path.c_str()) != 0) {
        throw failure(path, "cannot remove the stale socket", errno);
    }
}

std::string pathOf(int fd) {
    sockaddr_un address{};
    socklen_t length = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return {};
    }
    return {address.sun_path, strnlen(address.sun_path, sizeof address.sun_path)};
}

}  // namespace

Listener::Listener(std::string path, mode_t mode) : path_(std::move(path)), own_(true) {
    const sockaddr_un address = addressOf(path_);
    removeStale(path_, address);
    fd_ = newSocket(path_);
    // The file gets the permissions of the descriptor minus the umask, so they are never wider than
    // requested, not even briefly.
    if (fchmod(fd_.get(), mode) != 0 || bind(fd_.get(), generic(address), sizeof address) != 0) {
        throw failure(path_, "cannot bind", errno);
    }
    struct stat made {};
    if (lstat(path_.c_str(), &made) == 0) {
        device_ = made.st_dev;
        inode_ = made.st_ino;
    }
    if (chmod(path_.c_str(), mode) != 0 || listen(fd_.get(), SOMAXCONN) != 0) {
        const int error = errno;
        unlink(path_.c_str());
        throw failure(path_, "cannot listen", error);
    }
}

Listener::Listener(std::string path, FileDescriptor fd)
    : path_(std::move(path)), fd_(std::move(fd)), own_(false) {
    const int flags = fcntl(fd_.get(), F_GETFL);
    if (flags < 0 || fcntl(fd_.get(), F_SETFL, flags | O_NONBLOCK) != 0) {
        throw failure(path_, "cannot use the socket that was passed", errno);
    }
}

Listener::~Listener() {
    struct stat found {};
    if (own_ && lstat(path_.c_str(), &found) == 0 && found.st_dev == device_ &&
        found.st_ino == inode_) {
        unlink(path_.c_str());
    }
}

FileDescriptor lockDirectory(const std::string& directory) {
    FileDescriptor fd(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd) {
        throw failure(directory, "cannot use the directory", errno);
    }
    // The agent also starts on a file system without locks.
    if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        throw StartError(directory + ": another agent is starting there");
    }
    return fd;
}

FileDescriptor takeInherited(std::vector<FileDescriptor>& sockets, const std::string& name) {
    const auto found = std::find_if(sockets.begin(), sockets.end(), [&](const FileDescriptor& fd) {
        const std::string path = pathOf(fd.get());
        return path.substr(path.rfind('/') + 1) == name;
    });
    if (found == sockets.end()) {
        return {};
    }
    FileDescriptor fd = std::move(*found);
    sockets.erase(found);
    return fd;
}

std::vector<FileDescriptor> inheritedSockets() {
    std::vector<FileDescriptor> sockets;
    const int count = sd_listen_fds(1);
    for (int fd = SD_LISTEN_FDS_START; fd < SD_LISTEN_FDS_START + count; ++fd) {
        if (sd_is_socket(fd, AF_UNIX, SOCK_STREAM, 1) > 0) {
            sockets.emplace_back(fd);
        }
    }
    return sockets;
}

}  // namespace varnock::agent
