#pragma once

// Internal, not installed.
namespace varnock {

/// The timeout that never runs out.
constexpr unsigned int kInfinite = 0xFFFFFFFF;

/// Results of waiting, as the callers of Windows know them.
constexpr int kReleased = 0;
constexpr int kTimedOut = 102;
constexpr int kWaitFailed = -1;

}  // namespace varnock
