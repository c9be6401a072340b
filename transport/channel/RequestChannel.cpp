#include "transport/channel/RequestChannel.h"

#include <errno.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "runtime/files/PlatformPaths.h"
#include "runtime/threads/Cancellation.h"
#include "transport/AgentSocket.h"
#include "transport/channel/AgentDevice.h"
#include "transport/channel/FrameIo.h"
#include "transport/channel/ProcessState.h"
#include "transport/channel/TransportTrace.h"
#include "transport/record/ThreadMemory.h"

namespace varnock {
namespace {

constexpr pthread_key_t kNoKey = 0xFFFFFFFF;

pthread_key_t bufferKey VARNOCK_GUARDED_BY(keyLock) = kNoKey;

pthread_key_t shownKey() {
    const KeyInUse lock;
    return bufferKey;
}

void createKey() {
    const CancellationGuard wholeCreation;
    currentProcess();  // so that a fork finds the locks prepared
    pthread_key_t key = kNoKey;
    const int error = pthread_key_create(&key, &destroyThreadSpecificDataJson);
    if (error != 0) {
        traceAlways("InitBufferKeys: ERROR: Can't create key, ret=%d\n", error);
        return;
    }
    {
        const KeyChange lock;
        bufferKey = key;
    }
    traceAt(2, "InitBufferKeys: s_BufferKey = 0x%08X\n", key);
}

/// Creates the key once per process: a deleted key is not created again.
void initBufferKeys() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, &createKey);
}

RequestChannel* lookUpChannel() {
    const KeyInUse lock;
    return bufferKey != kNoKey ? static_cast<RequestChannel*>(pthread_getspecific(bufferKey))
                               : nullptr;
}

/// Stores a channel in the thread's slot. Returns 0 or an errno value.
[[nodiscard]] int storeChannel(RequestChannel* channel) {
    const KeyInUse lock;
    return bufferKey != kNoKey ? pthread_setspecific(bufferKey, channel) : EINVAL;
}

/// The parent of a forked process keeps using the connection; its replies must not be read here.
void dropForeignDescriptor(RequestChannel& channel) {
    if (channel.fd >= 0 && channel.process != currentProcess()) {
        const CancellationGuard wholeClose;
        close(std::exchange(channel.fd, -1));
    }
}

void reportRequestConnectFailure(const std::string& path, int, int error) {
    traceAlways("OpenRequestChannel: Connect to %s failed (thrId=0x%08X): %s --> retry\n",
                path.c_str(), threadNumber(), strerror(error));
}

}  // namespace

RequestChannel* getThreadSpecificDataJson() {
    initBufferKeys();
    if (RequestChannel* channel = lookUpChannel(); channel != nullptr) {
        dropForeignDescriptor(*channel);
        return channel;
    }
    std::unique_ptr<RequestChannel> channel(new (std::nothrow) RequestChannel);
    if (channel == nullptr) {
        traceAlways(
            "GetThreadSpecificDataJson: ERROR: Can't alloc memory for specific data "
            "(thrId=0x%08X)\n",
            threadNumber());
        return nullptr;
    }
    if (const int error = storeChannel(channel.get()); error != 0) {
        traceAlways(
            "GetThreadSpecificDataJson: ERROR: Can't set specific data (thrId=0x%08X), ret=%d\n",
            threadNumber(), error);
        return nullptr;
    }
    return channel.release();
}

void destroyThreadSpecificDataJson(void* data) {
    const CancellationGuard wholeDestruction;
    const std::unique_ptr<RequestChannel> channel(static_cast<RequestChannel*>(data));
    traceAt(1, "DestroyThreadSpecificDataJson: pthrdata = %p, s_BufferKey = 0x%08X\n", data,
            shownKey());
    if (channel != nullptr && channel->fd >= 0) {
        close(channel->fd);
        traceAt(1, "DestroyThreadSpecificDataJson: FdRequest = %d closed\n", channel->fd);
    }
}

int openRequestChannel(RequestChannel* channel) {
    if (channel == nullptr) {
        traceAlways("OpenRequestChannel: ERROR: no thread specific data available (thrId=0x%08X)\n",
                    threadNumber());
        return kNotOpened;
    }
    if (channel->fd >= 0) {
        return channel->fd;
    }
    const std::string path = requestSocketPath();
    const int fd = openPatiently(path, &reportRequestConnectFailure, nullptr);
    if (fd < 0) {
        traceAlways("OpenRequestChannel: ERROR: cannot open Request Channel to %s (thrId=0x%08X)\n",
                    path.c_str(), threadNumber());
        return kNotOpened;
    }
    // Before the registration, which is itself a request and would otherwise open recursively.
    channel->fd = fd;
    channel->process = currentProcess();
    traceAt(1,
            "OpenRequestChannel: Request Channel to %s (fd=%d, Timeout=%d, Retries=%d msec) opened "
            "(thrId=0x%08X)\n",
            path.c_str(), fd, channel->timeout, channel->retries, threadNumber());
    const ClientOptions options(fd);
    return initRequestChannel(*channel, &options, channel->timeout) ? fd : kNotOpened;
}

bool initRequestChannel(RequestChannel& channel, const ClientOptions* options,
                        unsigned int timeoutMs) {
    const int fd = channel.fd;
    if (options == nullptr) {
        traceAlways(
            "InitRequestChannel: ERROR: called with bad parameter pClientOptions = NULL on fd=%d "
            "--> close it!\n",
            fd);
        closeRequestChannel(channel);
        return false;
    }
    FrameBuffer buffer = registrationFrame(Channel::request, *options);
    if (!buffer) {
        traceAt(1, "InitRequestChannel: ERROR No memory available\n");
        closeRequestChannel(channel);
        return false;
    }
    const int received =
        SendRequest(buffer.frame(), buffer.length() + kRegistrationRoom, timeoutMs);
    if (received < 0) {
        traceAlways(
            "InitRequestChannel: Can't initialize Request Channel on fd=%d --> close it !\n", fd);
        closeRequestChannel(channel);
        return false;
    }
    traceAlways(
        "InitRequestChannel: Request Channel (type=JSON) opened and initialized (fd=%d, "
        "ragdfd=%d)\n",
        fd, daemonDescriptor(buffer, received));
    return true;
}

void closeRequestChannel(RequestChannel& channel) {
    if (channel.fd < 0) {
        return;
    }
    const CancellationGuard wholeClose;
    const int fd = std::exchange(channel.fd, -1);
    close(fd);
    traceIfPossible([fd] {
        traceAlways("CloseRequestChannel: Request Channel to %s (fd=%d) closed (thrId=0x%08X)\n",
                    requestSocketPath().c_str(), fd, threadNumber());
    });
}

int sendRequest(unsigned int* frame, unsigned int frameRoom, unsigned int replyRoom,
                unsigned int timeoutMs) {
    RequestChannel* channel = getThreadSpecificDataJson();
    if (!isUsableFrame(channel != nullptr ? channel->fd : -1, frame, frameRoom)) {
        return kTransferFailed;
    }
    const int fd = openRequestChannel(channel);
    if (fd < 0) {
        traceAlways("SendRequest: sending request failed (request channel not available)\n");
        return kNoChannel;
    }
    const unsigned int timeout = std::min(std::max(timeoutMs, channel->timeout), kLongestTimeout);
    int result = kTransferFailed;
    try {
        result = sendRequestOnFd(fd, frame, replyRoom, timeout, channel->retries);
    } catch (const std::exception&) {
        // Out of memory: the next request must not receive a reply that is still pending.
        closeRequestChannel(*channel);
        throw;
    }
    if (result < 0) {
        traceAlways(
            "SendRequest: Request Channel on fd=%d seems to be corrupt (result=%d) --> close it "
            "!\n",
            fd, result);
        closeRequestChannel(*channel);
    }
    return result;
}

}  // namespace varnock

int SendRequest(unsigned int* frame, unsigned int inOutMax, unsigned int timeoutMs) try {
    return varnock::sendRequest(frame, inOutMax, inOutMax, timeoutMs);
} catch (const std::exception&) {
    return varnock::kTransferFailed;
}

void RagdClientDestroyTSD(void) {
    using namespace varnock;
    initBufferKeys();
    RequestChannel* channel = lookUpChannel();
    traceAlways("RagdClientDestroyTSD: pthrdata = %p, s_BufferKey = 0x%08X\n",
                static_cast<void*>(channel), shownKey());
    if (channel != nullptr) {
        static_cast<void>(storeChannel(nullptr));  // the slot exists: it holds the channel
        destroyThreadSpecificDataJson(channel);
    }
    freeSpares();
}

int RagdClientDestroyKEY(void) {
    using namespace varnock;
    traceAt(1, "RagdClientDestroyKEY: s_BufferKey = 0x%08X\n", shownKey());
    int error = 0;
    {
        const KeyChange lock;
        if (bufferKey != kNoKey) {
            error = pthread_key_delete(bufferKey);
            bufferKey = error == 0 ? kNoKey : bufferKey;
        }
    }
    if (error != 0) {
        traceAlways("RagdClientDestroyKEY: ERROR: Can't delete key, ret=%d\n", error);
    }
    return error;
}

std::string RequestSocketPath() {
    return varnock::requestSocketPath();
}
