#include "tests/util/FailingMalloc.h"

#include <stddef.h>

namespace varnock::test {

constinit thread_local int allocationsLeft = -1;

}  // namespace varnock::test

using varnock::test::allocationsLeft;

/// The linker redirects every call of malloc in this program to this function.
extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
    if (allocationsLeft == 0) {
        allocationsLeft = -1;
        return nullptr;
    }
    if (allocationsLeft > 0) --allocationsLeft;
    return __real_malloc(size);
}
