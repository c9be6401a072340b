#include "tests/support/ElevatedProcess.h"

#include <stdlib.h>

#include <atomic>

namespace {
std::atomic<bool> isElevated = false;
}

// As in a process whose privileges the kernel has marked. The definition of the program replaces
// that of the C library in shared libraries too.
char* secure_getenv(const char* name) noexcept {
    return isElevated ? nullptr : getenv(name);
}

namespace varnock::test {

ElevatedProcess::ElevatedProcess() {
    isElevated = true;
}

ElevatedProcess::~ElevatedProcess() {
    isElevated = false;
}

}  // namespace varnock::test
