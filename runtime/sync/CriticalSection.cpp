#include "runtime/CriticalSection.h"

#include "runtime/SyncWrappers.h"

// The fields are atomic so that a thread reads the owner without the lock, and so that the compiler
// keeps the stores of the destructor. Relaxed order is enough: a thread only asks whether it is the
// owner, and the mutex orders everything else. Only the owner changes the count, so it needs no
// atomic increment. Before construction and after destruction the count has no meaning.
namespace {
constexpr auto kRelaxed = std::memory_order_relaxed;
}

CCriticalSection::CCriticalSection() : owner_(0), count_(0), initialised_(0) {
    initialised_.store(MutexInit(&mutex_) == 0 ? 1 : 0, kRelaxed);
}

CCriticalSection::~CCriticalSection() {
    if (initialised_.load(kRelaxed) != 0) {
        if (count_.load(kRelaxed) > 0) {
            count_.store(1, kRelaxed);
            Leave();
        }
        MutexDestroy(&mutex_);
    }
    owner_.store(0, kRelaxed);
    count_.store(0, kRelaxed);
    initialised_.store(0, kRelaxed);
}

bool CCriticalSection::isOwner(pthread_t thread) const {
    return initialised_.load(kRelaxed) != 0 && owner_.load(kRelaxed) == thread;
}

pthread_t CCriticalSection::enter() {
    const pthread_t self = ThreadSelf();
    if (initialised_.load(kRelaxed) != 0 && owner_.load(kRelaxed) != self) {
        MutexLock(&mutex_);
        owner_.store(self, kRelaxed);
    }
    count_.store(count_.load(kRelaxed) + 1, kRelaxed);
    return self;
}

void CCriticalSection::leave(pthread_t caller) {
    if (!isOwner(caller)) {
        return;
    }
    const auto left = count_.load(kRelaxed) - 1;
    count_.store(left, kRelaxed);
    if (left > 0) {
        return;
    }
    owner_.store(0, kRelaxed);
    MutexUnlock(&mutex_);
}

void CCriticalSection::Enter() {
    enter();
}

void CCriticalSection::Leave() {
    leave(ThreadSelf());
}

void CCriticalSection::CleanupHandlerForMutex() {
    if (!isOwner(ThreadSelf())) {
        return;
    }
    count_.store(0, kRelaxed);
    owner_.store(0, kRelaxed);
    MutexUnlock(&mutex_);
}

void CleanupHandlerForCritSecMutex(void* section) {
    static_cast<CCriticalSection*>(section)->CleanupHandlerForMutex();
}
