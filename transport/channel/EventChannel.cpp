#include "transport/channel/EventChannel.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

#include <climits>
#include <exception>
#include <new>
#include <utility>

#include "runtime/files/FileDescriptor.h"
#include "runtime/files/PlatformPaths.h"
#include "runtime/threads/Cancellation.h"
#include "transport/AgentSocket.h"
#include "transport/channel/AgentDevice.h"
#include "transport/channel/FrameIo.h"
#include "transport/channel/ProcessState.h"
#include "transport/channel/TransportTrace.h"
#include "transport/record/RecordText.h"

namespace varnock {
namespace {

constexpr std::chrono::milliseconds kReopenPause{1000};

struct EventState {
    int fd = -1;
    int daemonFd = -1;
    int process = 0;             ///< the process that opened the channel
    ClientOptions registration;  ///< the registration of the channel
};
constinit EventState state VARNOCK_GUARDED_BY(channelLock);

void reportEventConnectFailure(const std::string& path, int number, int error) {
    traceAlways("OpenEventChannel: Connect to %s failed: errno=%d %s --> retry (%d)\n",
                path.c_str(), error, strerror(error), number);
}

/// An event frame being received. Its memory is allocated once its length is known, and exactly the
/// frame is read: the next bytes belong to the next event.
class EventFrame {
  public:
    explicit EventFrame(int fd) : fd_(fd) {}

    /// Reads the available bytes. BufferFull means that there is no memory for the frame.
    Transfer pull();
    bool isEmpty() const { return received_ == 0; }
    int received() const { return static_cast<int>(received_); }
    /// The size of the frame as far as it is known.
    int expected() const { return static_cast<int>(size()); }
    char* text() { return buffer_.text(received_); }

  private:
    static constexpr std::size_t kRoom = 20;

    std::uint64_t size() const {
        return received_ < kFrameHeader ? kFrameHeader : std::uint64_t{length_} + kFrameHeader;
    }
    bool makeRoom();

    const int fd_;
    unsigned int length_ = 0;
    std::uint64_t received_ = 0;
    FrameBuffer buffer_;
};

bool EventFrame::makeRoom() {
    if (length_ <= kLongestEvent) {
        buffer_ = FrameBuffer(std::size_t{length_} + kRoom);
    }
    if (buffer_) {
        *buffer_.frame() = length_;
    }
    return static_cast<bool>(buffer_);
}

Transfer EventFrame::pull() {
    const std::uint64_t before = received_;
    if (received_ < kFrameHeader) {
        const Transfer header = receiveBytes(fd_, &length_, kFrameHeader, received_);
        if (received_ < kFrameHeader) {
            return header;
        }
        if (!makeRoom()) {
            return Transfer::bufferFull;
        }
    }
    const Transfer text = received_ < size() ? receiveBytes(fd_, buffer_.bytes(), size(), received_)
                                             : Transfer::complete;
    if (received_ == size()) {
        return Transfer::complete;
    }
    return received_ == before || text == Transfer::failed ? text : Transfer::partial;
}

/// One attempt; EndOfFile only if the channel ends before the first byte of the frame.
Transfer attemptEvent(EventFrame& frame, int fd, unsigned int attempt, const StopSignal* stop) {
    const Transfer transfer = frame.pull();
    if (isFinal(transfer) || (transfer == Transfer::endOfFile && frame.isEmpty())) {
        return transfer;
    }
    if (transfer == Transfer::interrupted) {
        traceAt(1,
                "GetEventJson: Event receiving on fd=%d interrupted (errno=EINTR, inLength=%d, "
                "InMax=%d) --> retry=%d\n",
                fd, frame.received(), frame.expected(), attempt);
    } else {
        traceAt(1,
                "GetEventJson: Event receiving on fd=%d incomplete (inLength=%d, InMax=%d, "
                "RetryCnt=%d) --> continue\n",
                fd, frame.received(), frame.expected(), attempt);
    }
    const Transfer later = spendSecond(fd, POLLIN, stop, [&frame] { return frame.pull(); });
    return isFinal(later) ? later : Transfer::partial;
}

/// The final state of the attempts.
Transfer receiveEvent(EventFrame& frame, int fd, const StopSignal* stop) {
    for (unsigned int attempt = 0; attempt < kEventRetries && !isRequested(stop); ++attempt) {
        const Transfer transfer = attemptEvent(frame, fd, attempt, stop);
        if (transfer != Transfer::partial) {
            return transfer;
        }
    }
    return Transfer::partial;
}

/// A cancelled thread leaves no channel in the middle of a frame: its rest would be read as the
/// next one.
Transfer receiveWholeEvent(EventFrame& frame, int fd, const StopSignal* stop) {
    try {
        return receiveEvent(frame, fd, stop);
    } catch (...) {
        if (!frame.isEmpty()) {
            closeEventChannel();
        }
        throw;
    }
}

void traceBrokenEvent(Transfer transfer, EventFrame& frame, int fd) {
    switch (transfer) {
        case Transfer::failed:
            traceAt(1,
                    "GetEventJson: ERROR: Event receiving on fd=%d failed (inLength=%d, InMax=%d) "
                    "--> reopen\n",
                    fd, frame.received(), frame.expected());
            break;
        case Transfer::bufferFull:
            traceAt(1,
                    "GetEventJson: ERROR: No Memory: Event receiving on fd=%d failed --> reopen\n",
                    fd);
            break;
        default:
            traceAt(1,
                    "GetEventJson: ERROR: Event receiving on fd=%d failed: inLength invalid "
                    "(inLength=%d, InMax=%d) --> reopen\n",
                    fd, frame.received(), frame.expected());
            break;
    }
}

EventRead reopenBroken(const StopSignal* stop) {
    const int fd = reOpenEventChannel(stop);
    traceIfPossible([fd] {
        const std::string path = eventSocketPath();
        if (fd < 0) {
            traceAlways(
                "GetEventJson: ERROR: Can't reopen Event Channel on %s --> ignore this event!\n",
                path.c_str());
        } else {
            traceAlways("GetEventJson: Event Channel reopened on %s, new fd=%d\n", path.c_str(),
                        fd);
        }
    });
    if (fd < 0) {
        return {EventRead::Kind::failed, kNotOpened};
    }
    return {EventRead::Kind::reopened, fd};
}

bool isEventChannel(int clientFd) {
    const int current = currentEventFd();
    if (clientFd < 0 || clientFd == INT_MAX) {
        traceAlways(
            "GetEventJson: ERROR: called with wrong clientfd=%d (s_FdEventChannel=%d) --> ignore "
            "this event\n",
            clientFd, current);
        return false;
    }
    if (clientFd != current) {
        traceAlways(
            "GetEventJson called with wrong fd=%d (s_FdEventChannel=%d) --> ignore this event\n",
            clientFd, current);
        return false;
    }
    return true;
}

/// Makes a new descriptor the event channel. If another thread was faster, its channel is kept.
int adoptEventFd(int fd) {
    FileDescriptor fresh(fd);  // closed outside of the lock
    const ChannelsHeld lock;
    if (state.fd < 0) {
        state.fd = fresh.release();
        state.process = currentProcess();
    }
    return state.fd;
}

}  // namespace

/// A channel opened before a fork() belongs to the parent: its events must not be read here.
int currentEventFd() {
    FileDescriptor parents;  // closed outside of the lock
    const ChannelsHeld lock;
    if (state.fd >= 0 && state.process != currentProcess()) {
        parents = FileDescriptor(std::exchange(state.fd, -1));
        state.daemonFd = -1;
    }
    return state.fd;
}

EventRead readEvent(int clientFd, SipJson& event, const StopSignal* stop) {
    if (!isEventChannel(clientFd)) {
        return {EventRead::Kind::failed, kNotOpened};
    }
    EventFrame frame(clientFd);
    const Transfer transfer = receiveWholeEvent(frame, clientFd, stop);
    if (transfer == Transfer::complete) {
        traceAt(2, "GetEventJson: processing event on fd=%d (inLength=%d)\n", clientFd,
                frame.received());
        RecordText::import(event, frame.text());
        return {EventRead::Kind::delivered, clientFd};
    }
    if (transfer == Transfer::endOfFile) {
        traceAt(1,
                "GetEventJson: Event receiving on fd=%d failed EOF (inLength=%d, InMax=%d) --> "
                "ignore this event!\n",
                clientFd, frame.received(), frame.expected());
        return {EventRead::Kind::endOfFile, kNotOpened};
    }
    if (isRequested(stop)) {
        return {EventRead::Kind::failed, kNotOpened};
    }
    traceBrokenEvent(transfer, frame, clientFd);
    return reopenBroken(stop);
}

int openEventChannel(const StopSignal* stop) {
    if (const int fd = currentEventFd(); fd >= 0) {
        traceAlways(
            "OpenEventChannel: WARNING: Event channel already exists on fd=%d --> remain on it!\n",
            fd);
        return fd;
    }
    const std::string path = eventSocketPath();
    const int opened = openPatiently(path, &reportEventConnectFailure, stop);
    if (opened < 0) {
        if (!isRequested(stop)) {
            traceAlways("OpenEventChannel: Connect to %s failed after %d retries --> bail out\n",
                        path.c_str(), kConnectTries);
        }
        return kNotOpened;
    }
    const int fd = adoptEventFd(opened);
    traceAt(2, "OpenEventChannel: Event Channel to %s (fd=%d) opened\n", path.c_str(), fd);
    return fd;
}

int initEventChannel(int fd, const ClientOptions* options, const StopSignal* stop) {
    if (options == nullptr) {
        traceAlways(
            "InitEventChannel: ERROR: called with bad parameter pClientOptions = NULL on fd=%d\n",
            fd);
        return kNotOpened;
    }
    FrameBuffer buffer = registrationFrame(Channel::event, *options);
    if (!buffer) {
        traceAt(1, "InitEventChannel: ERROR No memory available\n");
        return kNoMemory;
    }
    // An event may follow the reply at once; if it were read with the reply, it would be lost, and
    // its remainder mistaken for a frame.
    const int received = sendRequestOnFd(fd, buffer.frame(), buffer.length() + kRegistrationRoom,
                                         kEventTimeout, kEventRetries, Surplus::leave, stop);
    if (received < 0) {
        traceAlways("InitEventChannel: Can't initialize Event Channel on fd=%d\n", fd);
        return kNotOpened;
    }
    const int daemonFd = daemonDescriptor(buffer, received);
    traceAlways(
        "InitEventChannel: Event Channel (type=JSON) opened and initialized (fd=%d, ragdfd=%d)\n",
        fd, daemonFd);
    return daemonFd < 0 ? kNotOpened : daemonFd;
}

void closeEventChannel() {
    const CancellationGuard wholeClose;
    const int fd = [] {
        const ChannelsHeld lock;
        state.daemonFd = -1;
        return std::exchange(state.fd, -1);
    }();
    if (fd >= 0) {
        close(fd);
    }
    traceIfPossible([fd] {
        traceAlways("CloseEventChannel: Event Channel to %s (fd=%d) closed\n",
                    eventSocketPath().c_str(), fd);
    });
}

int registerForEvents(const StopSignal* stop) {
    const int fd = openEventChannel(stop);
    if (fd < 0) {
        return kNotOpened;
    }
    const ClientOptions options(fd);
    int daemonFd = kNotOpened;
    try {
        daemonFd = initEventChannel(fd, &options, stop);
    } catch (...) {
        // Out of memory or cancelled: a half-registered channel must not stay.
        closeEventChannel();
        throw;
    }
    if (daemonFd < 0) {
        closeEventChannel();
        if (daemonFd == kNoMemory) {
            throw std::bad_alloc();  // the event thread tries again later, unlike after a refusal
        }
        return kNotOpened;
    }
    {
        const ChannelsHeld lock;
        state.registration = options;
        state.daemonFd = daemonFd;
    }
    traceAt(2, "RegisterForEvents: client registered for events on fd=%d\n", fd);
    return fd;
}

int reOpenEventChannel(const StopSignal* stop) {
    closeEventChannel();
    pauseFor(kReopenPause, stop);
    const int fd = registerForEvents(stop);
    traceIfPossible([fd] {
        const std::string path = eventSocketPath();
        if (fd < 0) {
            traceAlways("ReOpenEventChannel: ERROR: Can't reopen Event Channel to %s\n",
                        path.c_str());
        } else {
            traceAlways("ReOpenEventChannel: Event Channel to %s reopened (fd=%d)\n", path.c_str(),
                        fd);
        }
    });
    return fd;
}

}  // namespace varnock

int RegisterForEvents(void*) try {
    return varnock::registerForEvents(nullptr);
} catch (const std::exception&) {
    return varnock::kTransferFailed;
}

void UnRegisterForEvents(void) try {
    using namespace varnock;
    {
        const ChannelsHeld lock;
        state.registration = ClientOptions();
    }
    closeEventChannel();
    traceAt(2, "UnRegisterForEvents: client unregistered for events\n");
} catch (const std::exception&) {
    // The channel is already closed; only the trace lines about it are lost.
}

int GetEventJson(int clientFd, SipJson& event) try {
    return varnock::readEvent(clientFd, event, nullptr).fd;
} catch (const std::exception&) {
    return varnock::kTransferFailed;
}

std::string EventSocketPath() {
    return varnock::eventSocketPath();
}
