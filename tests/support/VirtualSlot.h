#pragma once

#include <cstddef>
#include <cstring>

/// The position of a virtual operation in its class's table. Users index these tables by position,
/// so the order of declarations is part of the interface. It can be read from a member pointer only
/// where the C++ ABI is known.
#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
#define VARNOCK_HAS_VIRTUAL_SLOTS 1

namespace varnock::test {

/// The destructor occupies two slots. Returns npos for a non-virtual operation.
inline constexpr std::size_t kNotVirtual = static_cast<std::size_t>(-1);

template <typename MemberPointer>
std::size_t virtualSlot(MemberPointer member) {
    static_assert(sizeof(member) == 2 * sizeof(std::ptrdiff_t));
    std::size_t parts[2];
    std::memcpy(parts, &member, sizeof parts);
    return parts[0] % 2 == 1 ? (parts[0] - 1) / sizeof(void*) : kNotVirtual;
}

}  // namespace varnock::test
#endif
