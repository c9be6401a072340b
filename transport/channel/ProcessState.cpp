#include "transport/channel/ProcessState.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <new>

namespace varnock {

constinit std::shared_mutex keyLock;

namespace {

constinit std::mutex channelLock;
std::atomic<int> processId{0};

// A lock held by another thread during the fork would stay locked in the child.
void lockAll() {
    keyLock.lock();
    channelLock.lock();
}

void unlockAll() {
    channelLock.unlock();
    keyLock.unlock();
}

void startChild() {
    processId.store(getpid(), std::memory_order_relaxed);
    channelLock.unlock();
    // The lock identifies its writer by a thread id that does not exist in the child.
    new (&keyLock) std::shared_mutex;
}

void prepareForForks() {
    processId.store(getpid(), std::memory_order_relaxed);
    pthread_atfork(&lockAll, &unlockAll, &startChild);
}

}  // namespace

std::unique_lock<std::mutex> lockChannels() {
    currentProcess();  // so that a fork finds the locks prepared
    return std::unique_lock(channelLock);
}

// Called by every request, so it makes no system call.
int currentProcess() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, &prepareForForks);
    return processId.load(std::memory_order_relaxed);
}

}  // namespace varnock
