#include "LogEntryRelay.h"

#include <cimple/Thread.h>
#include <cimple/cimple.h>
#include <cimple/log.h>
#include <pthread.h>

#include <utility>

namespace krm {
namespace {

constexpr size_t kMostWaiting = 1000;

// Through the framework, so that the thread has what delivering needs. Returns 0 on success.
template <class Thread>
auto startThread(Thread& thread, void* (*run)(void*), void* argument, int)
    -> decltype(Thread::create_detached(thread, run, argument)) {
    return Thread::create_detached(thread, run, argument);
}

// For a framework whose threads are started in another way.
template <class Thread>
int startThread(Thread&, void* (*run)(void*), void* argument, long) {
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, run, argument);
    return error == 0 ? pthread_detach(thread) : error;
}

}  // namespace

bool LogEntryRelay::start(Deliver deliver) {
    auto shared = std::make_shared<Shared>();
    shared->deliver = std::move(deliver);
    auto forThread = std::make_unique<std::shared_ptr<Shared>>(shared);
    cimple::Thread thread;
    if (startThread(thread, run, forThread.get(), 0) != 0) {
        return false;
    }
    static_cast<void>(forThread.release());  // run() has it now
    const std::lock_guard<std::mutex> lock(mutex_);
    shared_ = std::move(shared);
    return true;
}

void LogEntryRelay::stop() {
    std::shared_ptr<Shared> shared;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        shared = std::exchange(shared_, nullptr);
    }
    if (!shared) {
        return;
    }
    std::unique_lock<std::mutex> lock(shared->mutex);
    shared->stopping = true;
    shared->changed.notify_all();
    shared->changed.wait(lock, [&] { return shared->ended; });
}

void LogEntryRelay::onSystemMessageLogEntry(unsigned int sequenceNumber) {
    add({"System Message Log", sequenceNumber});
}

void LogEntryRelay::onDriverMonitorLogEntry(unsigned int sequenceNumber) {
    add({"Driver Monitor Log", sequenceNumber});
}

void LogEntryRelay::add(const LogEntry& entry) {
    const std::lock_guard<std::mutex> relayLock(mutex_);
    if (!shared_) {
        return;
    }
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    if (shared_->waiting.size() == kMostWaiting) {
        shared_->waiting.pop_front();
        CIMPLE_WARN(("log events come faster than the CIM server takes them: one is lost"));
    }
    shared_->waiting.push_back(entry);
    shared_->changed.notify_all();
}

void* LogEntryRelay::run(void* argument) {
    const std::unique_ptr<std::shared_ptr<Shared>> owner(
        static_cast<std::shared_ptr<Shared>*>(argument));
    Shared& shared = **owner;
    std::unique_lock<std::mutex> lock(shared.mutex);
    for (;;) {
        shared.changed.wait(lock, [&] { return shared.stopping || !shared.waiting.empty(); });
        if (shared.stopping) {
            shared.ended = true;
            shared.changed.notify_all();
            return nullptr;
        }
        const LogEntry entry = shared.waiting.front();
        shared.waiting.pop_front();
        lock.unlock();
        shared.deliver(entry);
        lock.lock();
    }
}

}  // namespace krm
