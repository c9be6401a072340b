#include "cli/agent/AgentPresence.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

namespace varnockctl {
namespace {

/// The process that listens at the other end of the connection.
pid_t peerOf(int fd) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : -1;
}

}  // namespace

bool AgentPresence::connect() {
    disconnect();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path) {
        return false;
    }
    path_.copy(address.sun_path, path_.size());
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd_ < 0 ||
        ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        disconnect();
        return false;
    }
    agent_ = peerOf(fd_);
    return true;
}

void AgentPresence::disconnect() {
    if (fd_ >= 0) {
        close(std::exchange(fd_, -1));
    }
}

bool AgentPresence::hasGone() {
    char bytes[64];
    if (recv(fd_, bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
        return false;
    }
    const pid_t before = agent_;
    return !connect() || agent_ != before || agent_ <= 0;
}

}  // namespace varnockctl
