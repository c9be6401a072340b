#pragma once

// Internal, not installed.
namespace varnock {

/// The timeout for a wait without limit.
constexpr unsigned int kInfinite = 0xFFFFFFFF;

/// Results of a wait, with the numbers of Windows.
constexpr int kReleased = 0;
constexpr int kTimedOut = 102;
constexpr int kWaitFailed = -1;

}  // namespace varnock
