#include "runtime/CriticalSection.h"

#include "runtime/SyncWrappers.h"

// The fields are atomic so that a thread reads the owner without the lock, and so that the compiler
// keeps the stores of the destructor. Relaxed order is enough: a thread only asks whether it is the
// owner, and the mutex orders everything else. Only the owner changes the count, so it needs no
// atomic increment. Before construction and after destruction the count has no meaning.
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

/// Tries to lock the mutex of a section whose owner is in it. Most owners leave earlier than a
/// sleeping thread would be woken. The first wait, of one or two microseconds, is long on purpose:
/// the owner may enter again meanwhile, which costs less than moving the section and its data to
/// another processor for each entry.
bool lockWithoutSleep(pthread_mutex_t& mutex, const std::atomic<pthread_t>& owner) {
    constexpr unsigned int kFirstPauses = 64;
    constexpr unsigned int kLastPauses = 512;
    for (unsigned int pauses = kFirstPauses; pauses <= kLastPauses; pauses *= 2) {
        for (unsigned int i = 0; i < pauses; ++i) {
            __builtin_ia32_pause();
        }
        if (owner.load(kRelaxed) == 0 && pthread_mutex_trylock(&mutex) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

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
    const pthread_t owner = owner_.load(kRelaxed);
    if (initialised_.load(kRelaxed) != 0 && owner != self) {
        if (owner == 0 || !lockWithoutSleep(mutex_, owner_)) {
            MutexLock(&mutex_);
        }
        owner_.store(self, kRelaxed);
    }
    count_.store(count_.load(kRelaxed) + 1, kRelaxed);
    return self;
}

bool CCriticalSection::tryEnter(pthread_t caller) {
    if (initialised_.load(kRelaxed) != 0 && owner_.load(kRelaxed) != caller) {
        if (pthread_mutex_trylock(&mutex_) != 0) {
            return false;
        }
        owner_.store(caller, kRelaxed);
    }
    count_.store(count_.load(kRelaxed) + 1, kRelaxed);
    return true;
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
