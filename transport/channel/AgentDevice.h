#pragma once

#include <chrono>
#include <string>

#include "transport/channel/StopSignal.h"

/// Opening the descriptor of a connection to the agent, and waiting for it. Internal, not
/// installed.
namespace varnock {

/// Failures, returned in place of a descriptor or a number of bytes.
enum TransportResult : int {
    kNotOpened = -1,
    kNotConnected = -2,
    kNoChannel = -3,
    kZeroTimeout = -4,
    kPollFailed = -6,
    kTransferFailed = -9,
    kTransferTimedOut = -15,
    kNoMemory = -17,  ///< of initEventChannel(), for its callers within the library only
};

/// Number of connection attempts, and the interval between them.
inline constexpr int kConnectTries = 600;
inline constexpr std::chrono::milliseconds kConnectPause{1000};

/// Connects a stream socket, close-on-exec and non-blocking. Returns its descriptor, kNotOpened or
/// kNotConnected; in the latter case errno has the reason.
[[nodiscard]] int openDevice(const std::string& path);

/// Repeats openDevice() up to kConnectTries times; calls `report` with the number of the try and
/// errno after each tenth failure, beginning with the first. A stop ends it early.
[[nodiscard]] int openPatiently(const std::string& path,
                                void (*report)(const std::string&, int number, int error),
                                const StopSignal* stop);

/// poll(2) for one descriptor. A stop makes it fail with ECANCELED.
[[nodiscard]] int pollDescriptor(int fd, short mask, int timeoutMs, const StopSignal* stop,
                                 short& ready);

/// Sleeps; a stop ends it early.
void pauseFor(std::chrono::milliseconds duration, const StopSignal* stop);

/// Waits until the descriptor is ready for all of `pollMask`. Returns the mask or a
/// TransportResult. A hang-up deliberately takes precedence over data: a reply proves that the
/// agent was still connected, and the answer of an agent that closes at once is lost.
[[nodiscard]] int isFdReady(int fd, short pollMask, unsigned int timeoutMs,
                            const StopSignal* stop = nullptr);

}  // namespace varnock
