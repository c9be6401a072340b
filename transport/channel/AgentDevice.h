#pragma once

#include <chrono>
#include <string>

#include "transport/channel/StopSignal.h"

/// The descriptor of a connection to the agent: making it and waiting for it. Internal, not
/// installed.
namespace varnock {

/// What the transport reports in place of a descriptor or a number of bytes.
enum TransportResult : int {
    kNotOpened = -1,
    kNotConnected = -2,
    kNoChannel = -3,
    kZeroTimeout = -4,
    kPollFailed = -6,
    kTransferFailed = -9,
    kTimedOut = -15,
};

/// How often, and how long apart, a connection is tried.
inline constexpr int kConnectTries = 600;
inline constexpr std::chrono::milliseconds kConnectPause{1000};

/// Connects a stream socket, close-on-exec and non-blocking. Returns its descriptor, kNotOpened or
/// kNotConnected; in the latter case errno says why.
int openDevice(const std::string& path);

/// Repeats openDevice() up to kConnectTries times; calls `report` with the number of the try and
/// errno after each tenth failure, beginning with the first. A stop ends it early.
int openPatiently(const std::string& path,
                  void (*report)(const std::string&, int number, int error),
                  const StopSignal* stop);

/// poll(2) for one descriptor. A stop makes it fail with ECANCELED.
int pollDescriptor(int fd, short mask, int timeoutMs, const StopSignal* stop, short& ready);

/// Sleeps; a stop ends it early.
void pauseFor(std::chrono::milliseconds duration, const StopSignal* stop);

/// Waits until the descriptor is ready for all of `pollMask`. Returns the mask or a
/// TransportResult. A hang-up counts before data, on purpose: whoever gets a reply can rely on the
/// agent having still been there, and an agent that answers and closes at once loses its answer.
int isFdReady(int fd, short pollMask, unsigned int timeoutMs, const StopSignal* stop = nullptr);

}  // namespace varnock
