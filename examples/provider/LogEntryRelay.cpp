#include "LogEntryRelay.h"

#include <cimple/Thread.h>
#include <cimple/cimple.h>

#include <exception>
#include <new>
#include <utility>

namespace krm {
namespace {

constexpr size_t kMostWaiting = 1000;

}  // namespace

bool LogEntryRelay::start(Deliver deliver) {
    auto shared = std::make_shared<Shared>();
    shared->deliver = std::move(deliver);
    auto forThread = std::make_unique<std::shared_ptr<Shared>>(shared);
    cimple::Thread thread;
    if (cimple::Thread::create_detached(thread, run, forThread.get()) != 0) {
        return false;
    }
    static_cast<void>(forThread.release());  // run() owns it now
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

void LogEntryRelay::add(const LogEvent& event) {
    const std::lock_guard<std::mutex> relayLock(mutex_);
    if (!shared_) {
        return;
    }
    const std::lock_guard<std::mutex> lock(shared_->mutex);
    if (shared_->waiting.size() == kMostWaiting) {
        lose(*shared_, shared_->waiting.front());
        shared_->waiting.pop_front();
    }
    try {
        shared_->waiting.push_back(event);
    } catch (const std::bad_alloc&) {
        lose(*shared_, event);
    }
    shared_->changed.notify_all();
}

/// Lost entries are older than all queued ones.
void LogEntryRelay::lose(Shared& shared, const LogEvent& event) {
    shared.hasLost = true;
    if (event.kind == LogEvent::entry) {
        shared.lost += 1;
    } else if (event.kind == LogEvent::entriesLost) {
        shared.lost += event.number;
    }
}

LogEvent LogEntryRelay::takeNext(Shared& shared) {
    if (std::exchange(shared.hasLost, false)) {
        return {LogEvent::entriesLost, nullptr, std::exchange(shared.lost, 0)};
    }
    const LogEvent event = shared.waiting.front();
    shared.waiting.pop_front();
    return event;
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
        const LogEvent event = takeNext(shared);
        lock.unlock();
        bool delivered = true;
        try {
            shared.deliver(event);
        } catch (const std::exception&) {  // no memory
            delivered = false;
        }
        lock.lock();
        if (!delivered) {
            lose(shared, event);
        }
    }
}

}  // namespace krm
