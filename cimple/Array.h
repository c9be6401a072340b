#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include <cimple/Datetime.h>
#include <cimple/String.h>
#include <cimple/char16.h>

CIMPLE_NAMESPACE_BEGIN

/// A growing array. Copies are deep and made at once. Storage grows to exactly what is needed (at
/// least 8 elements), so `reserve` before adding many elements one by one. Positions past the end
/// are cut to it, except in `operator[]`. Functions that need memory throw std::bad_alloc. Distinct
/// objects may be used by distinct threads.
template <class T>
class Array {
  public:
    Array() noexcept : rep_(nullptr) {}
    Array(const Array& x) : Array(x.data(), x.size()) {}
    Array(const T* elements, size_t n) : Array() { append(elements, n); }
    ~Array() {
        destroyFrom(0);
        std::free(rep_);
    }

    Array& operator=(const Array& x) {
        if (this != &x) assign(x.data(), x.size());
        return *this;
    }

    void assign(const T* elements, size_t n) {
        Array fresh(elements, n);
        swap(fresh);
    }

    size_t size() const noexcept { return rep_ ? rep_->size : 0; }
    size_t capacity() const noexcept { return rep_ ? rep_->capacity : minimumCapacity; }

    /// Null while no element was ever stored.
    T* data() noexcept { return rep_ ? elementsOf(rep_) : nullptr; }
    const T* data() const noexcept { return rep_ ? elementsOf(rep_) : nullptr; }

    /// REQUIRES: pos < size().
    T& operator[](size_t pos) noexcept { return data()[pos]; }
    const T& operator[](size_t pos) const noexcept { return data()[pos]; }

    void reserve(size_t n) {
        if (!rep_ || n > rep_->capacity) grow(std::max(n, minimumCapacity));
    }

    /// New elements are zero or default-constructed.
    void resize(size_t n) {
        if (n < size()) destroyFrom(n);
        if (n == size()) return;
        reserve(n);
        while (rep_->size < n) {
            ::new (static_cast<void*>(data() + rep_->size)) T();
            rep_->size++;
        }
    }

    /// The new elements may be elements of this array, here and in `append` and `prepend`.
    void insert(size_t pos, const T* elements, size_t n) {
        const size_t oldSize = size();
        append(elements, n);
        if (pos < oldSize) std::rotate(data() + pos, data() + oldSize, data() + size());
    }
    void insert(size_t pos, const T& x) { insert(pos, &x, 1); }

    void append(const T* elements, size_t n) {
        if (!elements || n == 0) return;
        const T* begin = data();
        const bool own = begin && !std::less<const T*>()(elements, begin) &&
                         std::less<const T*>()(elements, begin + size());
        const size_t position = own ? static_cast<size_t>(elements - begin) : 0;
        if (n > maximumCapacity - size()) throw std::bad_alloc();
        reserve(size() + n);
        if (own) elements = data() + position;
        for (size_t i = 0; i < n; i++) {
            ::new (static_cast<void*>(data() + rep_->size)) T(elements[i]);
            rep_->size++;
        }
    }
    void append(const T& x) { append(&x, 1); }

    void prepend(const T* elements, size_t n) { insert(0, elements, n); }
    void prepend(const T& x) { insert(0, &x, 1); }

    void remove(size_t pos, size_t n) {
        if (pos >= size()) return;
        n = std::min(n, size() - pos);
        std::move(data() + pos + n, data() + size(), data() + pos);
        destroyFrom(size() - n);
    }
    void remove(size_t pos) { remove(pos, 1); }

    void clear() { destroyFrom(0); }

    void swap(Array& x) noexcept { std::swap(rep_, x.rep_); }

    /// size_t(-1) if no element equals `x`. Otherwise the position of the first one for class
    /// types, but always 1 for scalar types: as in the framework, the result then only says that
    /// there is one, and callers that need the position use a loop.
    size_t find(const T& x) const {
        for (size_t i = 0; i < size(); i++) {
            if (data()[i] == x) return std::is_scalar_v<T> ? 1 : i;
        }
        return size_t(-1);
    }

    static Array make(const T& x0) { return Array(&x0, 1); }
    static Array make(const T& x0, const T& x1) { return makeOf(x0, x1); }
    static Array make(const T& x0, const T& x1, const T& x2) { return makeOf(x0, x1, x2); }
    static Array make(const T& x0, const T& x1, const T& x2, const T& x3) {
        return makeOf(x0, x1, x2, x3);
    }
    static Array make(const T& x0, const T& x1, const T& x2, const T& x3, const T& x4) {
        return makeOf(x0, x1, x2, x3, x4);
    }

  private:
    /// Stands before the elements.
    struct alignas(std::max_align_t) Rep {
        size_t size;
        size_t capacity;
    };

    static constexpr size_t minimumCapacity = 8;
    static constexpr size_t maximumCapacity = (PTRDIFF_MAX - sizeof(Rep)) / sizeof(T);

    static T* elementsOf(Rep* rep) noexcept { return reinterpret_cast<T*>(rep + 1); }

    template <class... More>
    static Array makeOf(const More&... elements) {
        Array array;
        (array.append(elements), ...);
        return array;
    }

    void grow(size_t capacity) {
        static_assert(alignof(T) <= alignof(Rep));
        if (capacity > maximumCapacity) throw std::bad_alloc();
        const size_t count = size();
        const size_t bytes = sizeof(Rep) + capacity * sizeof(T);
        Rep* rep = nullptr;
        if constexpr (std::is_trivially_copyable_v<T>) {
            rep = static_cast<Rep*>(std::realloc(static_cast<void*>(rep_), bytes));
            if (!rep) throw std::bad_alloc();
        } else {
            rep = moveTo(bytes);
        }
        rep->size = count;
        rep->capacity = capacity;
        rep_ = rep;
    }

    Rep* moveTo(size_t bytes) {
        std::unique_ptr<void, void (*)(void*)> block(std::malloc(bytes), std::free);
        if (!block) throw std::bad_alloc();
        auto* rep = static_cast<Rep*>(block.get());
        std::uninitialized_move(data(), data() + size(), elementsOf(rep));
        destroyFrom(0);
        std::free(rep_);
        return static_cast<Rep*>(block.release());
    }

    void destroyFrom(size_t pos) noexcept {
        if (!rep_) return;
        std::destroy(data() + pos, data() + rep_->size);
        rep_->size = pos;
    }

    Rep* rep_;
};

template <class T>
inline bool operator==(const Array<T>& a, const Array<T>& b) {
    return a.size() == b.size() && std::equal(a.data(), a.data() + a.size(), b.data());
}

template <class T>
inline void __clear(Array<T>& value) {
    value.clear();
}

struct Instance;

typedef Array<boolean> Array_boolean;
typedef Array<uint8> Array_uint8;
typedef Array<sint8> Array_sint8;
typedef Array<uint16> Array_uint16;
typedef Array<sint16> Array_sint16;
typedef Array<uint32> Array_uint32;
typedef Array<sint32> Array_sint32;
typedef Array<uint64> Array_uint64;
typedef Array<sint64> Array_sint64;
typedef Array<real32> Array_real32;
typedef Array<real64> Array_real64;
typedef Array<char16> Array_char16;
typedef Array<String> Array_String;
typedef Array<Datetime> Array_Datetime;
typedef Array<Instance*> Array_Instance;
typedef Array_Instance Array_Ref;

CIMPLE_NAMESPACE_END
