#pragma once

#include <cstdint>
#include <functional>

#include "transport/channel/StopSignal.h"

/// Moving frames over a connection to the agent. Internal, not installed.
///
/// All transfers are non-blocking; what takes time is waiting, and every wait has a limit. A
/// transfer that breaks off is taken up again in attempts. Each attempt may spend a second waiting
/// for the peer, in which bytes are moved as they come.
namespace varnock {

/// How a transfer stands.
enum class Transfer {
    Complete,     ///< the whole frame has been moved
    Partial,      ///< some bytes have been moved
    WouldBlock,   ///< none, the peer is not ready
    Interrupted,  ///< none, a signal came
    EndOfFile,    ///< none will come any more
    BufferFull,   ///< the frame is larger than the buffer
    Failed,
};

/// True when there is no point in waiting for more.
inline bool isFinal(Transfer transfer) {
    return transfer == Transfer::Complete || transfer == Transfer::BufferFull ||
           transfer == Transfer::Failed;
}

/// Spends one second on a transfer: repeats `move` whenever the descriptor is ready. Ends early
/// with a final state, on a hang-up, which the next attempt will meet, and on a stop. When the
/// descriptor is ready but nothing moves, as at the end of a file, the second is slept out.
Transfer spendSecond(int fd, short mask, const StopSignal* stop,
                     const std::function<Transfer()>& move);

/// One read of what follows the first `count` bytes, up to `limit`: `count` grows by what came.
Transfer receiveBytes(int fd, void* buffer, std::uint64_t limit, std::uint64_t& count);

/// Whose are the bytes behind the reply?
enum class Surplus {
    Drop,   ///< nobody's: they are taken with the reply and counted
    Leave,  ///< the next frame's: they stay in the socket
};

/// Sends the frame and reads the reply over it. Returns the number of bytes received, at least the
/// reply's length + 4, or a TransportResult. `timeoutMs` is the time for waiting outside the
/// seconds of the attempts, over all waits together; what sending and receiving spend in attempts
/// beyond `retries` seconds counts as waiting.
/// REQUIRES: isUsableFrame().
int sendRequestOnFd(int fd, unsigned int* frame, unsigned int inOutMax, unsigned int timeoutMs,
                    unsigned int retries, Surplus surplus = Surplus::Drop,
                    const StopSignal* stop = nullptr);

/// True when the frame fits into its buffer, and so does the beginning of any reply. Else the
/// caller gets kTransferFailed; this traces it as a failure to send on `fd`.
bool isUsableFrame(int fd, const unsigned int* frame, unsigned int inOutMax);

}  // namespace varnock
