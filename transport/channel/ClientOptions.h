#pragma once

#include <vector>

#include "transport/AgentProtocol.h"
#include "transport/channel/FrameBuffer.h"

/// What a channel tells the agent when it registers. Internal, not installed.
namespace varnock {

/// The byte block that is sent to register and comes back in the reply.
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
    void setFd(int fd);

    unsigned char block_[kRegistrationSize] = {};
};

/// The size of a buffer for registering, beyond the text of the registration.
inline constexpr unsigned int kRegistrationRoom = 1028;

/// The frame that registers a channel, in a buffer with room for the reply. Without memory when
/// there is none.
FrameBuffer registrationFrame(Channel channel, const ClientOptions& options);

/// The agent's descriptor in the reply to a registration. Its status is not looked at.
int daemonDescriptor(FrameBuffer& reply, int received);

}  // namespace varnock
