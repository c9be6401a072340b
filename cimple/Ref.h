#pragma once

#include <cimple/Instance.h>

#include <type_traits>

CIMPLE_NAMESPACE_BEGIN

/// A counted pointer to an instance. The count is thread-safe, a Ref object is not.
template <class T>
class Ref {
  public:
    Ref() noexcept : ptr_(nullptr) {}
    Ref(const Ref& x) noexcept : ptr_(x.ptr_) { ref(ptr_); }
    /// Takes over the reference of the caller, so the count is unchanged. For an instance that is
    /// not of class T the Ref is null, and the caller keeps the instance.
    template <class U>
    Ref(U* instance) : ptr_(as(instance)) {}
    ~Ref() { unref(ptr_); }

    Ref& operator=(const Ref& x) {
        reset(x.ptr_);
        return *this;
    }

    void reset() { reset(static_cast<T*>(nullptr)); }
    /// Shares the instance: increments the count, the caller keeps its own reference.
    void reset(T* instance) {
        ref(instance);
        T* old = ptr_;
        ptr_ = instance;
        unref(old);
    }

    T* operator->() noexcept { return ptr_; }
    const T* operator->() const noexcept { return ptr_; }
    T& operator*() noexcept { return *ptr_; }
    const T& operator*() const noexcept { return *ptr_; }
    T* ptr() noexcept { return ptr_; }
    const T* ptr() const noexcept { return ptr_; }

    /// Passes the reference to the caller and becomes null.
    T* steal() noexcept {
        T* instance = ptr_;
        ptr_ = nullptr;
        return instance;
    }

    operator bool() const noexcept { return ptr_ != nullptr; }
    bool operator!() const noexcept { return ptr_ == nullptr; }

    /// 0 for a null Ref.
    size_t count() const noexcept {
        return ptr_ ? static_cast<size_t>(Atomic_get(&ptr_->__refs)) : 0;
    }

  private:
    template <class U>
    static T* as(U* instance) {
        if constexpr (std::is_same_v<std::remove_const_t<U>, T>) {
            return const_cast<T*>(instance);
        } else {
            return cast<T*>(instance);
        }
    }

    T* ptr_;
};

CIMPLE_NAMESPACE_END
