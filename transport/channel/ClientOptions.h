#pragma once

#include <vector>

#include "transport/AgentProtocol.h"
#include "transport/channel/FrameBuffer.h"

/// The data that a channel sends to register. Internal, not installed.
namespace varnock {

/// The byte block that is sent to register and returned in the reply.
class ClientOptions {
  public:
    /// All zero.
    ClientOptions() = default;
    /// The current client name and this descriptor.
    explicit ClientOptions(int fd);
    /// A received block; a short one is padded with zeros.
    explicit ClientOptions(const std::vector<unsigned char>& received);

    int fd() const;
    std::vector<unsigned char> bytes() const;

  private:
    void setFd(int fd);

    unsigned char block_[kRegistrationSize] = {};
};

/// The size of a buffer for registering, beyond the text of the registration.
inline constexpr unsigned int kRegistrationRoom = 1028;

/// The frame that registers a channel, in a buffer with space for the reply. The buffer has no
/// memory if the allocation fails.
[[nodiscard]] FrameBuffer registrationFrame(Channel channel, const ClientOptions& options);

/// The agent's descriptor in the reply to a registration. Ignores the status.
[[nodiscard]] int daemonDescriptor(FrameBuffer& reply, int received);

}  // namespace varnock
