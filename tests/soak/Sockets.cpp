#include "tests/soak/Sockets.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "transport/AgentProtocol.h"

namespace varnock::soak {
namespace {

constexpr int kBacklog = 64;

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

Socket newSocket() {
    return Socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

/// Appends `count` bytes; false if fewer arrive.
bool receive(int fd, std::string& bytes, std::size_t count) {
    char buffer[65536];
    while (count > 0) {
        const ssize_t got = recv(fd, buffer, std::min(count, sizeof buffer), 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace

Socket::~Socket() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

Socket::Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
}

Socket connectTo(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    Socket made = newSocket();
    const auto* general = reinterpret_cast<const sockaddr*>(&address);
    return made && connect(made.get(), general, sizeof address) == 0 ? std::move(made) : Socket();
}

Socket listenAt(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    Socket made = newSocket();
    const auto* general = reinterpret_cast<const sockaddr*>(&address);
    const bool listens =
        made && bind(made.get(), general, sizeof address) == 0 && listen(made.get(), kBacklog) == 0;
    return listens ? std::move(made) : Socket();
}

void limitWaits(int fd, int milliseconds) {
    const timeval limit{milliseconds / 1000, milliseconds % 1000 * 1000};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

bool sendAll(int fd, const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return true;
}

std::optional<std::string> receiveFrame(int fd) {
    std::string frame;
    if (!receive(fd, frame, kFrameHeader)) {
        return std::nullopt;
    }
    std::uint32_t length = 0;
    std::memcpy(&length, frame.data(), kFrameHeader);
    if (length > kFrameLimit || !receive(fd, frame, length)) {
        return std::nullopt;
    }
    return frame;
}

std::string frameOf(const std::string& text) {
    std::string frame(frameSize(text), '\0');
    writeFrame(frame.data(), text);
    return frame;
}

std::string textOf(const std::string& frame) {
    return frame.size() > kFrameHeader ? std::string(frame.c_str() + kFrameHeader) : std::string();
}

}  // namespace varnock::soak
