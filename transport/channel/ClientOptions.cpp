#include "transport/channel/ClientOptions.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>

#include "transport/AgentSocket.h"
#include "transport/channel/ProcessState.h"
#include "transport/record/RecordText.h"

namespace varnock {
namespace {

constexpr const char* kNobody = "Nobody";
char nameBuffer[kRegistrationNameSize] VARNOCK_GUARDED_BY(channelLock);
std::atomic<const char*> clientName{kNobody};

}  // namespace

ClientOptions::ClientOptions(int fd) {
    setFd(fd);
    const ChannelsHeld lock;
    const char* name = clientName;
    memcpy(block_, name, strnlen(name, kRegistrationNameSize));
}

ClientOptions::ClientOptions(const std::vector<unsigned char>& received) {
    std::copy_n(received.begin(), std::min(received.size(), kRegistrationSize), block_);
}

void ClientOptions::setFd(int fd) {
    memcpy(block_ + kRegistrationDescriptor, &fd, sizeof fd);
}

int ClientOptions::fd() const {
    int fd = 0;
    memcpy(&fd, block_ + kRegistrationDescriptor, sizeof fd);
    return fd;
}

std::vector<unsigned char> ClientOptions::bytes() const {
    return {block_, block_ + kRegistrationSize};
}

FrameBuffer registrationFrame(Channel channel, const ClientOptions& options) try {
    SipJson command(kRegisterOpcode, static_cast<unsigned int>(channel), 0, 0, SipJson::noStatus);
    command.SetRequestDataStream(options.bytes());
    const std::string text = command.Export();
    FrameBuffer buffer(text.size() + 1 + kRegistrationRoom);
    if (buffer) {
        buffer.put(text);
    }
    return buffer;
} catch (const std::bad_alloc&) {
    return {};
}

int daemonDescriptor(FrameBuffer& reply, int received) {
    SipJson record;
    RecordText::import(record, reply.text(static_cast<std::size_t>(received)));
    std::vector<unsigned char> block;
    record.GetDataStream(block);
    return ClientOptions(block).fd();
}

}  // namespace varnock

void SetClientName(const char* name) {
    using namespace varnock;
    if (name == nullptr) {
        clientName = kNobody;
        return;
    }
    const ChannelsHeld lock;
    const std::size_t length = strnlen(name, kRegistrationNameSize - 1);
    memcpy(nameBuffer, name, length);
    memset(nameBuffer + length, 0, kRegistrationNameSize - length);
    clientName = nameBuffer;
}
