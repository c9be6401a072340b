#pragma once

#include <cimple/Instance.h>

#include <type_traits>

CIMPLE_NAMESPACE_BEGIN

/// A counted pointer to an instance. Counting is safe between threads, one Ref object is not.
template <class T>
class Ref {
  public:
    Ref() noexcept : ptr_(nullptr) {}
    Ref(const Ref& x) noexcept : ptr_(x.ptr_) { ref(ptr_); }
    /// Takes over the reference of the caller, so the count stays. An instance that is not of class
    /// T gives a null Ref and still belongs to the caller.
    template <class U>
    Ref(U* instance) : ptr_(as(instance)) {}
    ~Ref() { unref(ptr_); }

    Ref& operator=(const Ref& x) {
        reset(x.ptr_);
        return *this;
    }

    void reset() { reset(static_cast<T*>(nullptr)); }
    /// Shares the instance: the count goes up, the caller keeps its own reference.
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

    /// Hands the reference to the caller and becomes null.
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
        if constexpr (std::is_same_v<std::remove_const_t<U>, T>)
            return const_cast<T*>(instance);
        else
            return cast<T*>(instance);
    }

    T* ptr_;
};

CIMPLE_NAMESPACE_END
