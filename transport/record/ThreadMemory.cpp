#include "transport/record/ThreadMemory.h"

#include <pthread.h>

#include <array>
#include <cstddef>
#include <new>
#include <utility>

namespace varnock {
namespace {

/// Trivial, unlike an object with a destructor: usable until the very end of the thread, and the
/// first use allocates nothing.
struct Spares {
    std::array<void*, 2> blocks;
    bool isFreedAtEnd;
};
constinit thread_local Spares spares{};

void freeBlocks(void*) {
    spares.isFreedAtEnd = false;  // a later destructor of the thread may keep blocks again
    for (void*& block : spares.blocks) {
        ::operator delete(std::exchange(block, nullptr));
    }
}

/// The key whose destructor frees the blocks when a thread ends.
struct EndOfThread {
    EndOfThread() : exists(pthread_key_create(&key, &freeBlocks) == 0) {}

    pthread_key_t key = 0;
    bool exists;
};

[[nodiscard]] bool isFreedAtEnd() {
    if (!spares.isFreedAtEnd) {
        static const EndOfThread end;
        spares.isFreedAtEnd = end.exists && pthread_setspecific(end.key, &spares) == 0;
    }
    return spares.isFreedAtEnd;
}

void*& slot(SpareBlock kind) {
    return spares.blocks[static_cast<std::size_t>(kind)];
}

}  // namespace

void* takeSpare(SpareBlock kind) {
    return std::exchange(slot(kind), nullptr);
}

void keepSpare(SpareBlock kind, void* block) {
    if (slot(kind) != nullptr || !isFreedAtEnd()) {
        ::operator delete(block);
        return;
    }
    slot(kind) = block;
}

void freeSpares() {
    freeBlocks(nullptr);
}

}  // namespace varnock
