#include "runtime/InterLock.h"

#include "runtime/sync/MutexGuard.h"

namespace {

long lockedAdd(long* value, unsigned long summand) {
    if (value == nullptr) {
        return 0;
    }
    const varnock::MutexGuard guard(*CInterLock::IncDecMutex());
    *value = static_cast<long>(static_cast<unsigned long>(*value) + summand);
    return *value;
}

}  // namespace

long CInterLock::LockedIncrement(long* value) {
    return lockedAdd(value, 1);
}

long CInterLock::LockedDecrement(long* value) {
    return lockedAdd(value, -1UL);
}

pthread_mutex_t* CInterLock::IncDecMutex() {
    return &incDecMutex_;
}
