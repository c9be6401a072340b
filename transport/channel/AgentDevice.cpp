#include "transport/channel/AgentDevice.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <climits>
#include <cstddef>

#include "runtime/files/FileDescriptor.h"
#include "runtime/process/Clock.h"
#include "transport/AgentSocket.h"
#include "transport/channel/TransportTrace.h"

namespace varnock {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// A daemon that accepts slowly temporarily has a full queue.
constexpr int kQueueTries = 100;
constexpr milliseconds kQueuePause{10};

[[nodiscard]] int newSocket() {
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

/// Returns 0 or an errno value, EAGAIN for a daemon that listens with a full queue.
[[nodiscard]] int connectOnce(int fd, const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0 ? 0 : errno;
}

/// Connects within about a second: a blocking connect would wait forever for a daemon that listens
/// but does not accept. Returns 0 or an errno value.
[[nodiscard]] int connectTo(int fd, const std::string& path) {
    for (int attempt = 0;; ++attempt) {
        const int error = connectOnce(fd, path);
        if (error != EAGAIN || attempt == kQueueTries) {
            return error;
        }
        Clock::instance().sleepFor(kQueuePause);
    }
}

std::chrono::seconds wholeSeconds() {
    return std::chrono::floor<seconds>(Clock::instance().monotonicTime());
}

/// Evaluates a poll that found the descriptor ready.
[[nodiscard]] int judge(int fd, short pollMask, short ready) {
    if ((ready & POLLHUP) != 0) {
        traceAlways("IsFdReady: ERROR: Hangup on fd=%d\n", fd);
        return kPollFailed;
    }
    if ((ready & (POLLERR | POLLNVAL)) != 0) {
        unsigned char byte = 0;
        errno = 0;
        recv(fd, &byte, sizeof byte, MSG_DONTWAIT);
        const int error = errno;
        traceAlways("IsFdReady: ERROR on fd=%d, Result=0x%08X: errno=%d, %s\n", fd, byte, error,
                    strerror(error));
        return kTransferFailed;
    }
    if ((ready & pollMask) != pollMask) {
        traceAlways(
            "IsFdReady: ERROR on fd=%d, returned pollmask invalid (PollFdStruct.revents=0x%08X, "
            "PollMask=0x%08X)\n",
            fd, ready, pollMask);
        return kTransferFailed;
    }
    return ready & pollMask;
}

}  // namespace

int openDevice(const std::string& path) {
    FileDescriptor device = awayFromStandardStreams(newSocket());
    if (!device) {
        const int error = errno;
        traceAlways("OpenDevice: ERROR: create socket on %s failed (thrId=0x%08X): %s\n",
                    path.c_str(), threadNumber(), strerror(error));
        errno = error;
        return kNotOpened;
    }
    if (const int error = connectTo(device.get(), path); error != 0) {
        traceAlways("OpenDevice: ERROR: connect to socket on %s failed (thrId=0x%08X): %s\n",
                    path.c_str(), threadNumber(), strerror(error));
        device.reset();
        errno = error;
        return kNotConnected;
    }
    return device.release();
}

int openPatiently(const std::string& path, void (*report)(const std::string&, int, int),
                  const StopSignal* stop) {
    for (int number = 0; !isRequested(stop); ++number) {
        const int fd = openDevice(path);
        if (fd >= 0) {
            return fd;
        }
        if (number % 10 == 0) {
            report(path, number, errno);
        }
        if (number + 1 == kConnectTries) {
            break;
        }
        pauseFor(kConnectPause, stop);
    }
    return kNotOpened;
}

int pollDescriptor(int fd, short mask, int timeoutMs, const StopSignal* stop, short& ready) {
    if (isRequested(stop)) {
        errno = ECANCELED;
        return -1;
    }
    pollfd descriptors[2] = {{fd, mask, 0}, {stop != nullptr ? stop->wakeFd() : -1, POLLIN, 0}};
    const int result = Clock::instance().poll(descriptors, stop != nullptr ? 2 : 1, timeoutMs);
    if (result > 0 && descriptors[1].revents != 0) {
        errno = ECANCELED;
        return -1;
    }
    ready = descriptors[0].revents;
    return result;
}

void pauseFor(milliseconds duration, const StopSignal* stop) {
    if (stop == nullptr) {
        Clock::instance().sleepFor(duration);
        return;
    }
    short ready = 0;
    static_cast<void>(pollDescriptor(-1, 0, static_cast<int>(duration.count()), stop, ready));
}

int isFdReady(int fd, short pollMask, unsigned int timeoutMs, const StopSignal* stop) {
    if (fd < 0) {
        traceAlways("IsFdReady: ERROR: bad parameter for Fd=%d\n", fd);
        return kNoChannel;
    }
    if (timeoutMs == 0) {
        traceAlways("IsFdReady: ERROR: bad parameter for Timeout=0(!) on fd=%d\n", fd);
        return kZeroTimeout;
    }
    const int timeout = static_cast<int>(std::min<unsigned int>(timeoutMs, INT_MAX));
    const seconds start = wholeSeconds();
    for (int rest = timeout;;) {
        short ready = 0;
        const int result = pollDescriptor(fd, pollMask, rest, stop, ready);
        if (result > 0) {
            return judge(fd, pollMask, ready);
        }
        if (result == 0) {
            traceAlways("IsFdReady: ERROR: Timeout on fd=%d (Timeout=%d, RestTimeout=%d\n", fd,
                        timeout, rest);
            return kTransferTimedOut;
        }
        if (const int error = errno; error != EINTR) {
            traceAlways("IsFdReady: ERROR: poll() failed on fd=%d: errno=%d  %s\n", fd, error,
                        strerror(error));
            return kPollFailed;
        }
        traceAt(1, "IsFdReady: poll() interrupted due to EINTR on fd=%d --> try to continue!\n",
                fd);
        const milliseconds elapsed = wholeSeconds() - start;
        if (milliseconds(timeout) <= elapsed) {
            traceAlways(
                "IsFdReady: ERROR: Timeout after EINTR on fd=%d (Timeout=%d, RestTimeout=%d\n", fd,
                timeout, rest);
            return kTransferTimedOut;
        }
        rest = timeout - static_cast<int>(elapsed.count());
    }
}

}  // namespace varnock

int ProbeAgentSocket(const std::string& path) {
    const varnock::FileDescriptor device(varnock::newSocket());
    if (!device) {
        return errno;
    }
    const int error = varnock::connectOnce(device.get(), path);
    return error == EAGAIN ? 0 : error;
}
