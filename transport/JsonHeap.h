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
    /// Gives no more than about `budget` bytes in all; what is freed is not given again.
    constexpr explicit JsonHeap(std::size_t budget) : budget_(budget) {}
    ~JsonHeap() { Free(prepared_); }
    JsonHeap(const JsonHeap&) = delete;
    JsonHeap& operator=(const JsonHeap&) = delete;

    /// A block of `size` bytes; null for a size of 0.
    void* Malloc(std::size_t size) {
        if (prepared_ != nullptr) {
            return std::exchange(prepared_, nullptr);
        }
        return size != 0 ? (spend(size), checked(std::malloc(size))) : nullptr;
    }
    /// On failure the old block stays as it is.
    void* Realloc(void* old, std::size_t oldSize, std::size_t size) {
        if (size == 0) {
            Free(old);
            return nullptr;
        }
        spend(size > oldSize ? size - oldSize : 0);
        return checked(std::realloc(old, size));
    }
    /// True once an allocation has been refused because of the budget.
    bool isOverspent() const { return isOverspent_; }
    static void Free(void* block) noexcept { std::free(block); }

    /// Allocates the block that the next Malloc() returns. For operations of RapidJSON that would
    /// lose values if the allocation failed.
    /// REQUIRES: the next Malloc() asks for this size.
    void prepare(std::size_t size) {
        void* const block = Malloc(size);
        prepared_ = block;
    }

  private:
    static constexpr std::size_t kUnlimited = ~std::size_t{0};
    /// What the C heap needs itself for a block, so that many small ones are not underestimated.
    static constexpr std::size_t kOverhead = 16;

    void spend(std::size_t size) {
        if (budget_ == kUnlimited) {
            return;
        }
        if (budget_ < kOverhead || size > budget_ - kOverhead) {
            isOverspent_ = true;
            throw std::bad_alloc();
        }
        budget_ -= size + kOverhead;
    }
    static void* checked(void* block) {
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        return block;
    }

    void* prepared_ = nullptr;
    std::size_t budget_ = kUnlimited;
    bool isOverspent_ = false;
};

}  // namespace varnock
