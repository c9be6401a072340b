#include "runtime/Semaphore.h"

#include <errno.h>
#include <limits.h>

#include <algorithm>
#include <new>

#include "runtime/SyncWrappers.h"
#include "runtime/sync/WaitResult.h"
#include "util/TextCopy.h"

using varnock::kReleased;
using varnock::kTimedOut;
using varnock::kWaitFailed;

namespace {

using SemaphoreRecord = CSemaphore::sysSemaphore_t;

/// Makes a record with one reference and enters it under its name, if it has one. Null on failure.
[[nodiscard]] SemaphoreRecord* make(unsigned int value, const char* name)
    VARNOCK_REQUIRES(CEvent::Spinlock) {
    std::unique_ptr<SemaphoreRecord> record(new (std::nothrow) SemaphoreRecord{});
    if (record == nullptr || SemInit(&record->semaphore, 0, value) != 0) {
        return nullptr;
    }
    record->refCount = 1;
    try {
        record->name = varnock::copyText(name);
        CSemaphore::NamedSemaphoreMap.add(name, record.get(), nullptr, nullptr);
    } catch (const std::bad_alloc&) {
        SemDestroy(&record->semaphore);
        return nullptr;
    }
    return record.release();
}

}  // namespace

CSemaphore::CSemaphore() : record_(nullptr) {}

CSemaphore::~CSemaphore() {
    Delete();
}

int CSemaphore::Create(long initialCount, long maximumCount, const char* name, void*) {
    const CriticalSectionGuard lock(CEvent::Spinlock);
    if (auto* existing = static_cast<SemaphoreRecord*>(NamedSemaphoreMap.lookup(name, nullptr))) {
        ++existing->refCount;
        record_ = existing;
        return 1;
    }
    if (record_ != nullptr && Delete() == 0) {
        return 0;
    }
    if (initialCount < 0 || maximumCount < 0 || maximumCount > SEM_VALUE_MAX) {
        return 0;
    }
    record_ = make(static_cast<unsigned int>(std::min(initialCount, maximumCount)), name);
    return record_ != nullptr ? 1 : 0;
}

int CSemaphore::Release(long count) {
    SemaphoreRecord* const record = record_;
    if (record == nullptr || count < 1 || count > SEM_VALUE_MAX) {
        return 0;
    }
    for (; count > 0; --count) {
        if (SemPost(&record->semaphore) != 0) {
            return 0;
        }
    }
    return 1;
}

int CSemaphore::Wait(unsigned int timeoutMs) {
    SemaphoreRecord* const record = record_;
    if (record == nullptr) {
        return kWaitFailed;
    }
    if (timeoutMs != varnock::kInfinite) {
        if (SemTrywait(&record->semaphore) == 0) {
            return kReleased;
        }
        return timeoutMs == 0 ? kTimedOut : kWaitFailed;
    }
    int result = SemWait(&record->semaphore);
    while (result != 0 && errno == EINTR) {
        result = SemWait(&record->semaphore);
    }
    return result == 0 ? kReleased : kWaitFailed;
}

int CSemaphore::Delete() {
    const CriticalSectionGuard lock(CEvent::Spinlock);
    SemaphoreRecord* const record = record_.exchange(nullptr);
    if (record == nullptr || --record->refCount != 0) {
        return 0;
    }
    NamedSemaphoreMap.remove(record->name.get(), nullptr);
    const int error = SemDestroy(&record->semaphore);
    delete record;
    return error == 0 ? 1 : 0;
}
