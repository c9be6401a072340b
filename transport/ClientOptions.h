#pragma once

#include <vector>

#include "transport/FrameBuffer.h"

/// What a channel tells the agent when it registers. Internal, not installed.
namespace varnock {

/// The channels, by the operation extension of their registration.
enum class Channel : unsigned int { Request = 0x1100, Event = 0x1200 };

/// The block of 224 bytes that is sent to register and comes back in the reply: the client's name
/// in the first 64 bytes, the descriptor of the connection on the sender's side at 68, zeros.
class ClientOptions {
  public:
    /// All zero.
    ClientOptions() = default;
    /// The current client name and this descriptor.
    explicit ClientOptions(int fd);
    /// A block that came in; a short one reads as if zeros followed.
    explicit ClientOptions(const std::vector<unsigned char>& received);

    int fd() const;
    std::vector<unsigned char> bytes() const;

  private:
    static constexpr std::size_t kSize = 224;
    static constexpr std::size_t kDescriptor = 68;

    void setFd(int fd);

    unsigned char block_[kSize] = {};
};

/// The size of a buffer for registering, beyond the text of the registration.
inline constexpr unsigned int kRegistrationRoom = 1028;

/// The frame that registers a channel, in a buffer with room for the reply. Without memory when
/// there is none.
FrameBuffer registrationFrame(Channel channel, const ClientOptions& options);

/// The agent's descriptor in the reply to a registration. Its status is not looked at.
int daemonDescriptor(FrameBuffer& reply, int received);

}  // namespace varnock
