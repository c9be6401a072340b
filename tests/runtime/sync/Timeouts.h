#pragma once

namespace varnock::test {

/// The timeout for a wait without limit.
inline constexpr unsigned int kInfinite = 0xFFFFFFFF;

}  // namespace varnock::test
