#pragma once

#include <atomic>
#include <memory>
#include <utility>

/// Reference-counted owner of one object; the last owner deletes it through its destructor.
///
/// All copies share one Core, a separately allocated record of object and count. A default
/// constructed or moved-from ShPtr has no Core and holds null.
///
/// Thread-safety: the count is atomic, so copies in different threads may be made, assigned and
/// destroyed at the same time. One ShPtr object must not be changed by one thread while another
/// uses it. The object itself is as safe as its class makes it.
template <typename T>
class ShPtr {
  public:
    /// Null.
    ShPtr() = default;
    /// Takes ownership. If the Core cannot be allocated, the object is deleted and std::bad_alloc
    /// is thrown.
    explicit ShPtr(T* object) {
        std::unique_ptr<T> owner(object);
        core_ = new Core(object);
        static_cast<void>(owner.release());
    }
    /// Adds an owner.
    ShPtr(const ShPtr& other) : core_(other.core_) {
        if (core_ != nullptr) {
            core_->count.fetch_add(1, std::memory_order_relaxed);
        }
    }
    /// Leaves the source null.
    ShPtr(ShPtr&& other) noexcept : core_(std::exchange(other.core_, nullptr)) {}
    /// Releases the previous object.
    ShPtr& operator=(ShPtr other) noexcept {
        std::swap(core_, other.core_);
        return *this;
    }
    ~ShPtr() { release(); }

    /// The object, still owned; or null.
    T* get() const { return core_ != nullptr ? core_->object : nullptr; }
    /// REQUIRES: get() is not null.
    T* operator->() const { return get(); }
    /// REQUIRES: get() is not null.
    T& operator*() const { return *get(); }
    /// True when get() is not null.
    explicit operator bool() const { return get() != nullptr; }

  private:
    struct Core {
        explicit Core(T* owned) : object(owned), count(1) {}

        T* object;
        std::atomic<long> count;
    };

    void release() {
        // All accesses by other owners happen before the deletion.
        if (core_ != nullptr && core_->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete core_->object;
            delete core_;
        }
    }

    Core* core_ = nullptr;
};
