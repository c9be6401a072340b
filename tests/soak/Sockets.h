#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace varnock::soak {

/// A descriptor that is closed at the end of its scope.
class Socket {
  public:
    explicit Socket(int fd = -1) : fd_(fd) {}
    ~Socket();
    Socket(Socket&& other) noexcept;
    Socket& operator=(Socket&& other) noexcept;

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

  private:
    int fd_;
};

/// Both have no descriptor on failure.
[[nodiscard]] Socket connectTo(const std::string& path);
[[nodiscard]] Socket listenAt(const std::string& path);

/// Limits each later wait of the socket's calls.
void limitWaits(int fd, int milliseconds);
/// False if the peer has gone or the time has passed.
bool sendAll(int fd, const std::string& bytes);
/// The bytes of the next frame, with the length word. Nothing if the peer has gone or the time has
/// passed.
[[nodiscard]] std::optional<std::string> receiveFrame(int fd);

/// The bytes of a frame with this text.
std::string frameOf(const std::string& text);
/// The text of a frame, without its NUL.
std::string textOf(const std::string& frame);

}  // namespace varnock::soak
