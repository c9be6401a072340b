#include "agent/host/Leases.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cstring>

#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {
namespace {

using Messages = std::span<const unsigned char>;

/// A request for all IPv4 addresses.
struct AddressRequest {
    nlmsghdr header;
    ifaddrmsg address;
};

template <typename Record>
bool readAt(Messages bytes, std::size_t offset, Record& record) {
    if (bytes.size() < offset || bytes.size() - offset < sizeof record) {
        return false;
    }
    std::memcpy(&record, bytes.data() + offset, sizeof record);
    return true;
}

/// True for an address that the kernel will remove when its time is over.
bool isLeased(Messages message, unsigned interfaceIndex) {
    ifaddrmsg address{};
    return readAt(message, NLMSG_HDRLEN, address) && address.ifa_family == AF_INET &&
           address.ifa_index == interfaceIndex && (address.ifa_flags & IFA_F_PERMANENT) == 0;
}

bool ask(int fd) {
    AddressRequest request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETADDR;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.address.ifa_family = AF_INET;
    return send(fd, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request);
}

/// True if the messages are the last of an answer.
bool isEnd(Messages messages) {
    nlmsghdr header{};
    return !readAt(messages, 0, header) || header.nlmsg_type == NLMSG_DONE ||
           header.nlmsg_type == NLMSG_ERROR;
}

}  // namespace

std::optional<bool> hasLease(Messages messages, unsigned interfaceIndex) {
    nlmsghdr header{};
    while (readAt(messages, 0, header) && header.nlmsg_len >= NLMSG_HDRLEN &&
           header.nlmsg_len <= messages.size()) {
        if (header.nlmsg_type == RTM_NEWADDR &&
            isLeased(messages.first(header.nlmsg_len), interfaceIndex)) {
            return true;
        }
        messages =
            messages.subspan(std::min<std::size_t>(NLMSG_ALIGN(header.nlmsg_len), messages.size()));
    }
    return std::nullopt;
}

std::optional<bool> hasLease(unsigned interfaceIndex) {
    const FileDescriptor fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    // The kernel has its answer ready at once; the limit is for a fault.
    constexpr timeval kLimit{.tv_sec = 1, .tv_usec = 0};
    if (!fd || setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &kLimit, sizeof kLimit) != 0 ||
        !ask(fd.get())) {
        return std::nullopt;
    }
    std::array<unsigned char, 32768> buffer;
    for (;;) {
        const ssize_t size = recv(fd.get(), buffer.data(), buffer.size(), 0);
        const Messages messages(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
        if (const auto found = hasLease(messages, interfaceIndex)) {
            return found;
        }
        if (isEnd(messages)) {
            return std::nullopt;
        }
    }
}

}  // namespace varnock::agent
