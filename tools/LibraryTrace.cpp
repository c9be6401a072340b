#include "tools/LibraryTrace.h"

#include <stdio.h>

#include "tools/Console.h"
#include "util/Mutex.h"

namespace varnock {
namespace {

/// Plain data without constructors: the stream is used before this program's constructors run.
constexpr size_t kKeptSize = std::size_t{64} * 1024;
/// The stream's own lock serialises the writers; this one protects the switch to pass-through.
constinit Mutex mutex;
char kept[kKeptSize] VARNOCK_GUARDED_BY(mutex);
size_t keptLength VARNOCK_GUARDED_BY(mutex);
bool passThrough VARNOCK_GUARDED_BY(mutex);

ssize_t takeTrace(void*, const char* text, size_t size) {
    const ScopedLock guard(mutex);
    if (passThrough) {
        console::complain({text, size});
        return static_cast<ssize_t>(size);
    }
    const size_t room = kKeptSize - keptLength;
    const size_t taken = size < room ? size : room;
    __builtin_memcpy(kept + keptLength, text, taken);
    keptLength += taken;
    return static_cast<ssize_t>(size);
}

void takeStderrAway() {
    cookie_io_functions_t functions{};
    functions.write = takeTrace;
    if (FILE* stream = fopencookie(nullptr, "w", functions)) {
        setvbuf(stream, nullptr, _IOLBF, 0);
        stderr = stream;
    }
}

/// Runs before the initialisers of every shared library.
__attribute__((section(".preinit_array"), used)) void (*const kBeforeLibraries)() = takeStderrAway;

}  // namespace

void showLibraryTrace() {
    const ScopedLock guard(mutex);
    console::complain({kept, keptLength});
    keptLength = 0;
    passThrough = true;
}

}  // namespace varnock
