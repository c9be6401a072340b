#include "transport/channel/ProcessState.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <new>

#include "runtime/process/ForkLocks.h"

namespace varnock {

constinit Mutex channelLock;
constinit KeyLock keyLock;

namespace {

std::atomic<int> processId{0};

/// A lock held by another thread during the fork would stay locked in the child. The locks are
/// taken and released in different functions, which the analysis cannot follow.
///
/// To read the key is enough: no thread is changing it then. A vanished reader leaves nothing half
/// done, but its count.
void lockAll() VARNOCK_NOT_ANALYSED {
    keyLock.lock_shared();
    channelLock.lock();
}

void unlockAll() VARNOCK_NOT_ANALYSED {
    channelLock.unlock();
    keyLock.unlock_shared();
}

void startChild() VARNOCK_NOT_ANALYSED {
    processId.store(getpid(), std::memory_order_relaxed);
    channelLock.unlock();
    keyLock.unlock_shared();
    // The lock still counts the readers of the parent's other threads.
    new (&keyLock) KeyLock;
}

constexpr ForkHandlers kForkHandlers{&lockAll, &unlockAll, &startChild};

void prepareForForks() {
    processId.store(getpid(), std::memory_order_relaxed);
    setChannelForkHandlers(kForkHandlers);
}

}  // namespace

ChannelsHeld::ChannelsHeld() {
    currentProcess();  // so that a fork finds the locks prepared
    channelLock.lock();
}

/// Called by every request, so it makes no system call.
int currentProcess() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, &prepareForForks);
    return processId.load(std::memory_order_relaxed);
}

}  // namespace varnock
