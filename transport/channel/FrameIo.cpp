#include "transport/channel/FrameIo.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>

#include "runtime/process/Clock.h"
#include "transport/channel/AgentDevice.h"
#include "transport/channel/FrameBuffer.h"
#include "transport/channel/TransportTrace.h"

namespace varnock {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr nanoseconds kAttempt = std::chrono::seconds{1};

/// Sums with a length word use 64 bits: a peer may send any length.
std::uint64_t frameSize(const unsigned int* frame) {
    return std::uint64_t{frame[0]} + kFrameHeader;
}

/// Trace texts show sizes as int.
int shown(std::uint64_t size) {
    return static_cast<int>(size);
}

/// One request and its reply.
class Exchange {
  public:
    Exchange(int fd, unsigned int* frame, unsigned int inOutMax, unsigned int timeoutMs,
             unsigned int retries, Surplus surplus, const StopSignal* stop)
        : fd_(fd),
          frame_(frame),
          buffer_(reinterpret_cast<char*>(frame)),
          inOutMax_(inOutMax),
          timeout_(timeoutMs),
          retries_(retries),
          surplus_(surplus),
          stop_(stop),
          start_(Clock::instance().monotonicTime()) {}

    int send();
    int receive();

  private:
    Transfer write();
    Transfer writeAtOnce();
    Transfer judgeWrite(Transfer written) const;
    Transfer push();
    Transfer pull();
    unsigned int sendingTime(unsigned int attempt) const;
    Transfer sendingAttempt(Transfer written, unsigned int attempt);
    Transfer receivingAttempt(unsigned int attempt);
    bool awaitNextByte();
    milliseconds restOfTimeout() const;
    int waitingTime() const;
    Transfer spendSecondOn(short mask, Transfer (Exchange::*move)());
    std::uint64_t limit() const;
    bool isComplete() const { return received_ >= kFrameHeader && received_ >= frameSize(frame_); }

    const int fd_;
    unsigned int* const frame_;
    char* const buffer_;
    const std::uint64_t inOutMax_;
    const milliseconds timeout_;
    const unsigned int retries_;
    const Surplus surplus_;
    const StopSignal* const stop_;
    const nanoseconds start_;
    nanoseconds inAttempts_{0};  ///< time spent in the seconds of the attempts
    std::uint64_t total_ = 0;    ///< bytes of the frame being sent
    std::uint64_t sent_ = 0;
    std::uint64_t received_ = 0;
};

/// The seconds of the attempts are added to the time-out, but only one per attempt, so that a peer
/// that both reads and answers slowly gets no more.
milliseconds Exchange::restOfTimeout() const {
    const auto onTop = std::min<nanoseconds>(inAttempts_, retries_ * kAttempt);
    const auto waited = Clock::instance().monotonicTime() - start_ - onTop;
    return timeout_ - std::chrono::floor<milliseconds>(waited);
}

/// The remaining time for waiting; never 0.
int Exchange::waitingTime() const {
    return static_cast<int>(std::max(restOfTimeout().count(), milliseconds::rep{1}));
}

Transfer Exchange::spendSecondOn(short mask, Transfer (Exchange::*move)()) {
    const nanoseconds begin = Clock::instance().monotonicTime();
    const auto moveOnce = [this, move] { return (this->*move)(); };
    const Transfer transfer = spendSecond(fd_, mask, stop_, std::cref(moveOnce));
    inAttempts_ += Clock::instance().monotonicTime() - begin;
    return transfer;
}

/// Returns 0 or a result code. A frame still incomplete after all attempts is not a failure: the
/// agent may have understood it, so the reply is awaited.
int Exchange::send() {
    total_ = frameSize(frame_);
    for (unsigned int attempt = 0; attempt < retries_; ++attempt) {
        Transfer transfer = attempt == 0 ? writeAtOnce() : Transfer::wouldBlock;
        if (transfer != Transfer::complete && transfer != Transfer::partial) {
            // The poll comes before the verdict on a refusal: it may know the reason.
            const int ready = isFdReady(fd_, POLLOUT, sendingTime(attempt), stop_);
            if (ready != POLLOUT) {
                return ready;
            }
            transfer = transfer == Transfer::wouldBlock ? write() : transfer;
        }
        transfer = sendingAttempt(transfer, attempt);
        if (transfer == Transfer::complete) {
            return 0;
        }
        if (transfer == Transfer::failed) {
            return kTransferFailed;
        }
    }
    return 0;
}

unsigned int Exchange::sendingTime(unsigned int attempt) const {
    return static_cast<unsigned int>(attempt == 0 ? timeout_.count() : waitingTime());
}

/// An idle socket has room for nearly every request, so polling it first is rarely worth a system
/// call. Without time nothing may be sent, and a stop is seen only by the poll.
Transfer Exchange::writeAtOnce() {
    return timeout_.count() > 0 && stop_ == nullptr ? write() : Transfer::wouldBlock;
}

/// Completes an attempt whose first write had this outcome.
Transfer Exchange::sendingAttempt(Transfer written, unsigned int attempt) {
    const Transfer transfer = judgeWrite(written);
    if (isFinal(transfer)) {
        return transfer;
    }
    if (transfer == Transfer::interrupted) {
        traceAt(1,
                "SendRequestOnFd: Command sending on fd=%d interrupted (errno=EINTR, outLength=%d, "
                "InOutMax=%d) --> retry=%d\n",
                fd_, shown(sent_), shown(total_), shown(attempt));
    } else {
        traceAt(1,
                "SendRequestOnFd: Command sending on fd=%d incomplete (outLength=%d, InOutMax=%d) "
                "--> continue=%d\n",
                fd_, shown(sent_), shown(total_), shown(attempt));
    }
    return spendSecondOn(POLLOUT, &Exchange::push);
}

Transfer Exchange::push() {
    return judgeWrite(write());
}

/// One write; EndOfFile if it takes nothing. A host that does not ignore SIGPIPE must not die of
/// it.
Transfer Exchange::write() {
    const ssize_t count = ::send(fd_, buffer_ + sent_, total_ - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count > 0) {
        sent_ += static_cast<std::uint64_t>(count);
        return sent_ == total_ ? Transfer::complete : Transfer::partial;
    }
    if (count == 0) {
        return Transfer::endOfFile;
    }
    if (errno == EINTR) {
        return Transfer::interrupted;
    }
    return errno == EAGAIN ? Transfer::wouldBlock : Transfer::failed;
}

/// Traces a write that ends the exchange.
Transfer Exchange::judgeWrite(Transfer written) const {
    if (written == Transfer::failed) {
        traceAt(1,
                "SendRequestOnFd: Command sending on fd=%d failed (outLength=%d, InOutMax=%d) --> "
                "bail out\n",
                fd_, shown(sent_), shown(total_));
    } else if (written == Transfer::endOfFile) {
        traceAt(1,
                "SendRequestOnFd: Command sending on fd=%d failed EOF (outLength=%d, InOutMax=%d): "
                "--> bail out\n",
                fd_, shown(sent_), shown(total_));
        return Transfer::failed;
    }
    return written;
}

/// Returns the number of bytes or a result code.
int Exchange::receive() {
    const int ready = isFdReady(fd_, POLLIN, static_cast<unsigned int>(waitingTime()), stop_);
    if (ready != POLLIN) {
        return ready;
    }
    for (unsigned int attempt = 0; attempt < retries_; ++attempt) {
        if (attempt > 0 && !awaitNextByte()) {
            break;
        }
        const Transfer transfer = receivingAttempt(attempt);
        if (transfer == Transfer::complete) {
            return static_cast<int>(received_);
        }
        if (transfer == Transfer::failed) {
            return kTransferFailed;
        }
        if (transfer == Transfer::bufferFull) {
            break;
        }
    }
    traceAt(1,
            "SendRequestOnFd: Command receiving on fd=%d failed (inLength=%d, InOutMax=%d, "
            "pCmdJ->len=%d)\n",
            fd_, shown(received_), shown(inOutMax_), shown(frame_[0]));
    return kTransferFailed;
}

Transfer Exchange::receivingAttempt(unsigned int attempt) {
    const Transfer transfer = pull();
    if (isFinal(transfer)) {
        return transfer;
    }
    if (transfer == Transfer::endOfFile && attempt == 0) {
        traceAt(1,
                "SendRequestOnFd: Command receiving on fd=%d failed EOF (inLength=%d, InOutMax=%d) "
                "--> bail out\n",
                fd_, shown(received_), shown(inOutMax_));
        return Transfer::failed;
    }
    if (transfer == Transfer::interrupted) {
        traceAt(
            1,
            "SendRequestOnFd: Command receiving on fd=%d interrupted (errno=EINTR, inLength=%d, "
            "InOutMax=%d) --> retry=%d\n",
            fd_, shown(received_), shown(inOutMax_), shown(attempt));
    } else {
        traceAt(1,
                "SendRequestOnFd: Command receiving on fd=%d incomplete (inLength=%d, InOutMax=%d, "
                "pCmdJ->len=%d) --> continue=%d\n",
                fd_, shown(received_), shown(inOutMax_), shown(frame_[0]), shown(attempt));
    }
    return spendSecondOn(POLLIN, &Exchange::pull);
}

/// Waits for the request's whole time limit: an agent may pause in the middle of a reply.
bool Exchange::awaitNextByte() {
    while (restOfTimeout().count() > 0) {
        short ready = 0;
        const int result = pollDescriptor(fd_, POLLIN, waitingTime(), stop_, ready);
        if (result >= 0 || errno != EINTR) {
            return result > 0;
        }
    }
    return false;
}

/// The limit for reading. Before four bytes have arrived, the length word is a mixture of request
/// and reply.
std::uint64_t Exchange::limit() const {
    if (surplus_ == Surplus::drop) {
        return inOutMax_;
    }
    return received_ < kFrameHeader ? kFrameHeader : std::min(frameSize(frame_), inOutMax_);
}

/// Reads the available bytes: one read, or two if the first one completes the length word.
Transfer Exchange::pull() {
    Transfer transfer = receiveBytes(fd_, buffer_, limit(), received_);
    if (transfer == Transfer::partial && received_ < limit()) {
        const bool knowsMore = surplus_ == Surplus::leave && received_ == kFrameHeader;
        if (knowsMore && receiveBytes(fd_, buffer_, limit(), received_) == Transfer::failed) {
            transfer = Transfer::failed;
        }
    }
    if (transfer == Transfer::failed) {
        traceAt(1,
                "SendRequestOnFd: Command receiving on fd=%d failed (inLength=%d, InOutMax=%d) --> "
                "bail out\n",
                fd_, shown(received_), shown(inOutMax_));
        return transfer;
    }
    if (isComplete()) {
        return Transfer::complete;
    }
    if (received_ == inOutMax_) {
        // The rest is not read: the channel is closed after this failure, which discards it.
        traceAt(1,
                "SendRequestOnFd: Command receiving on fd=%d incomplete (buffer too small) "
                "(inLength=%d, InOutMax=%d, pCmdJ->len=%d)\n",
                fd_, shown(received_), shown(inOutMax_), shown(frame_[0]));
        return Transfer::bufferFull;
    }
    return transfer;
}

}  // namespace

Transfer receiveBytes(int fd, void* buffer, std::uint64_t limit, std::uint64_t& count) {
    const ssize_t got = recv(fd, static_cast<char*>(buffer) + count, limit - count, MSG_DONTWAIT);
    if (got > 0) {
        count += static_cast<std::uint64_t>(got);
        return Transfer::partial;
    }
    if (got == 0) {
        return Transfer::endOfFile;
    }
    if (errno == EINTR) {
        return Transfer::interrupted;
    }
    return errno == EAGAIN ? Transfer::wouldBlock : Transfer::failed;
}

Transfer spendSecond(int fd, short mask, const StopSignal* stop,
                     const std::function<Transfer()>& move) {
    const nanoseconds end = Clock::instance().monotonicTime() + kAttempt;
    for (;;) {
        const auto rest = std::chrono::ceil<milliseconds>(end - Clock::instance().monotonicTime());
        if (rest.count() <= 0) {
            return Transfer::partial;
        }
        short ready = 0;
        const int result = pollDescriptor(fd, mask, static_cast<int>(rest.count()), stop, ready);
        if (result < 0 && errno == EINTR) {
            continue;
        }
        if (result <= 0 || (ready & mask) == 0) {
            return Transfer::partial;
        }
        const Transfer transfer = move();
        if (isFinal(transfer)) {
            return transfer;
        }
        if (transfer == Transfer::endOfFile || transfer == Transfer::wouldBlock) {
            // Always ready without any bytes to transfer: polling would spin.
            pauseFor(rest, stop);
        }
    }
}

int sendRequestOnFd(int fd, unsigned int* frame, unsigned int inOutMax, unsigned int timeoutMs,
                    unsigned int retries, Surplus surplus, const StopSignal* stop) {
    if (fd < 0) {
        traceAt(1, "SendRequestOnFd: sending request failed (request channel not available)\n");
        return kNoChannel;
    }
    Exchange exchange(fd, frame, inOutMax, timeoutMs, retries, surplus, stop);
    const int failure = exchange.send();
    return failure != 0 ? failure : exchange.receive();
}

bool isUsableFrame(int fd, const unsigned int* frame, unsigned int inOutMax) {
    const bool readable = frame != nullptr && inOutMax > kFrameHeader;
    if (readable && frameSize(frame) <= inOutMax) {
        return true;
    }
    traceAt(1,
            "SendRequestOnFd: Command sending on fd=%d failed (outLength=%d, InOutMax=%d) --> "
            "bail out\n",
            fd, 0, readable ? shown(frameSize(frame)) : shown(inOutMax));
    return false;
}

}  // namespace varnock
