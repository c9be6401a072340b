#pragma once

#include <optional>
#include <span>

namespace varnock::agent {

/// Whether an IPv4 address of the interface expires, which only those from DHCP do. Nothing if all
/// are permanent, which those from DHCP can be, too.
std::optional<bool> hasLease(unsigned interfaceIndex);

/// The same from the kernel's answers to a request for the IPv4 addresses (RTM_NEWADDR).
std::optional<bool> hasLease(std::span<const unsigned char> messages, unsigned interfaceIndex);

}  // namespace varnock::agent
