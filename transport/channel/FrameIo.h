#pragma once

#include <cstdint>
#include <functional>

#include "transport/channel/StopSignal.h"

/// Transferring frames over a connection to the agent. Internal, not installed.
///
/// All transfers are non-blocking, and every wait has a limit. An interrupted transfer is resumed
/// in attempts. Each attempt may wait a second for the peer and transfers bytes as they arrive.
namespace varnock {

/// The state of a transfer.
enum class Transfer {
    complete,     ///< the whole frame was transferred
    partial,      ///< some bytes were transferred
    wouldBlock,   ///< none, the peer is not ready
    interrupted,  ///< none, a signal arrived
    endOfFile,    ///< none, the peer has closed
    bufferFull,   ///< the frame is larger than the buffer
    failed,
};

/// True if waiting for more is pointless.
inline bool isFinal(Transfer transfer) {
    return transfer == Transfer::complete || transfer == Transfer::bufferFull ||
           transfer == Transfer::failed;
}

/// Spends one second on a transfer: repeats `move` whenever the descriptor is ready. Ends early
/// with a final state, on a hang-up, which the next attempt detects, and on a stop. If the
/// descriptor is ready but nothing is transferred, as at the end of a file, it sleeps for the rest
/// of the second.
[[nodiscard]] Transfer spendSecond(int fd, short mask, const StopSignal* stop,
                                   const std::function<Transfer()>& move);

/// One read after the first `count` bytes, up to `limit`; increments `count` by the bytes read.
[[nodiscard]] Transfer receiveBytes(int fd, void* buffer, std::uint64_t limit,
                                    std::uint64_t& count);

/// Treatment of the bytes after the reply.
enum class Surplus {
    drop,   ///< they are read with the reply and counted
    leave,  ///< they belong to the next frame and stay in the socket
};

/// Sends the frame and reads the reply over it. Returns the number of bytes received, at least the
/// reply's length + 4, or a TransportResult. `timeoutMs` is the time for waiting outside the
/// seconds of the attempts, over all waits together; what sending and receiving spend in attempts
/// beyond `retries` seconds counts as waiting.
/// REQUIRES: isUsableFrame().
[[nodiscard]] int sendRequestOnFd(int fd, unsigned int* frame, unsigned int inOutMax,
                                  unsigned int timeoutMs, unsigned int retries,
                                  Surplus surplus = Surplus::drop,
                                  const StopSignal* stop = nullptr);

/// True if the frame and the beginning of any reply fit into the buffer. Otherwise the caller
/// returns kTransferFailed; this function traces it as a failure to send on `fd`.
[[nodiscard]] bool isUsableFrame(int fd, const unsigned int* frame, unsigned int inOutMax);

}  // namespace varnock
