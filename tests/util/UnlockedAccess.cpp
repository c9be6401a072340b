#include "util/Mutex.h"

namespace unlocked {

varnock::Mutex mutex;
int count VARNOCK_GUARDED_BY(mutex);

int countUp();

/// Compiled by a test, which expects that the missing lock is reported.
int countUp() {
    count = 1;
    const varnock::ScopedLock lock(mutex);
    return count;
}

}  // namespace unlocked
