#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace varnock {

/// The allocator of the command record's values: the C heap, with std::bad_alloc where RapidJSON's
/// own allocators would return a null pointer that the library does not check.
///
/// Thread-safety: as a whole object, unless no thread calls prepare().
class JsonHeap {
  public:
    static constexpr bool kNeedFree = true;  ///< RapidJSON requires this name

    constexpr JsonHeap() = default;
    ~JsonHeap() { Free(prepared_); }
    JsonHeap(const JsonHeap&) = delete;
    JsonHeap& operator=(const JsonHeap&) = delete;

    /// A block of `size` bytes; null for a size of 0.
    void* Malloc(std::size_t size) {
        if (prepared_ != nullptr) {
            return std::exchange(prepared_, nullptr);
        }
        return size != 0 ? checked(std::malloc(size)) : nullptr;
    }
    /// On failure the old block stays as it is.
    void* Realloc(void* old, std::size_t, std::size_t size) {
        if (size == 0) {
            Free(old);
            return nullptr;
        }
        return checked(std::realloc(old, size));
    }
    static void Free(void* block) noexcept { std::free(block); }

    /// Allocates the block that the next Malloc() returns. For operations of RapidJSON that would
    /// lose values if the allocation failed.
    /// REQUIRES: the next Malloc() asks for this size.
    void prepare(std::size_t size) {
        void* const block = Malloc(size);
        prepared_ = block;
    }

  private:
    static void* checked(void* block) {
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        return block;
    }

    void* prepared_ = nullptr;
};

}  // namespace varnock
