#pragma once

namespace varnock::test {

/// Whether this program is built with the address sanitizer.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool underAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool underAddressSanitizer = true;
#else
inline constexpr bool underAddressSanitizer = false;
#endif
#else
inline constexpr bool underAddressSanitizer = false;
#endif

}  // namespace varnock::test
