#include "tests/support/FailingAllocation.h"

#include <stdlib.h>

#include <new>

namespace {

thread_local std::size_t callsUntilFailure = 0;  // 0: none fails
thread_local bool failed = false;

void* allocateOrNull(std::size_t size) {
    if (callsUntilFailure != 0 && --callsUntilFailure == 0) {
        failed = true;
        return nullptr;
    }
    return malloc(size != 0 ? size : 1);
}

void* allocate(std::size_t size) {
    void* memory = allocateOrNull(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
/// The sanitizers' own versions of these do not call the ones above.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size);
}
void operator delete(void* memory) noexcept {
    free(memory);
}
void operator delete[](void* memory) noexcept {
    free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    free(memory);
}

namespace varnock::test {

FailingAllocation::FailingAllocation(std::size_t n) {
    failed = false;
    callsUntilFailure = n;
}

FailingAllocation::~FailingAllocation() {
    callsUntilFailure = 0;
}

bool FailingAllocation::happened() const {
    return failed;
}

}  // namespace varnock::test
