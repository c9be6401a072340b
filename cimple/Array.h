#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include <cimple/Datetime.h>
#include <cimple/String.h>
#include <cimple/char16.h>

CIMPLE_NAMESPACE_BEGIN

/// A growable array. Copies are deep and immediate. Storage grows to exactly the required size (at
/// least 8 elements), so call `reserve` before adding many elements one by one. Positions past the
/// end are clamped, except in `operator[]`. Functions that allocate throw std::bad_alloc. Distinct
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
        if (this != &x) {
            assign(x.data(), x.size());
        }
        return *this;
    }

    void assign(const T* elements, size_t n) {
        Array fresh(elements, n);
        swap(fresh);
    }

    size_t size() const noexcept { return rep_ ? rep_->size : 0; }
    size_t capacity() const noexcept { return rep_ ? rep_->capacity : minimumCapacity; }

    /// Null if no element was ever stored.
    T* data() noexcept { return rep_ ? elementsOf(rep_) : nullptr; }
    const T* data() const noexcept { return rep_ ? elementsOf(rep_) : nullptr; }

    /// REQUIRES: pos < size().
    T& operator[](size_t pos) noexcept { return stored()[pos]; }
    const T& operator[](size_t pos) const noexcept { return stored()[pos]; }

    void reserve(size_t n) {
        if (!rep_ || n > rep_->capacity) {
            grow(n < minimumCapacity ? minimumCapacity : n);
        }
    }

    /// New elements are zero or default-constructed.
    void resize(size_t n) {
        if (n < size()) {
            destroyFrom(n);
        }
        if (n == size()) {
            return;
        }
        reserve(n);
        while (rep_->size < n) {
            construct();
        }
    }

    /// The new elements may be elements of this array, here and in `append` and `prepend`.
    void insert(size_t pos, const T* elements, size_t n) {
        if (pos >= size()) {
            return append(elements, n);
        }
        Array all;
        const size_t needed = size() + checked(n);
        all.reserve(needed < capacity() ? capacity() : needed);
        all.append(data(), pos);
        all.append(elements, n);
        all.append(data() + pos, size() - pos);
        swap(all);
    }
    void insert(size_t pos, const T& x) { insert(pos, &x, 1); }

    void append(const T* elements, size_t n) {
        if (!elements || n == 0) {
            return;
        }
        const bool own = rep_ && holds(elements);
        const auto place = own ? elements - data() : 0;
        reserve(size() + checked(n));
        if (own) {
            elements = data() + place;
        }
        if constexpr (std::is_trivially_copyable_v<T>) {
            std::memcpy(stored() + rep_->size, elements, n * sizeof(T));
            rep_->size += n;
        } else {
            for (size_t i = 0; i < n; i++) {
                construct(elements[i]);
            }
        }
    }
    void append(const T& x) { append(&x, 1); }

    void prepend(const T* elements, size_t n) { insert(0, elements, n); }
    void prepend(const T& x) { insert(0, &x, 1); }

    void remove(size_t pos, size_t n) {
        if (pos >= size()) {
            return;
        }
        const size_t left = n < size() - pos ? size() - n : pos;
        for (size_t i = pos; i < left; i++) {
            (*this)[i] = (*this)[i + n];
        }
        destroyFrom(left);
    }
    void remove(size_t pos) { remove(pos, 1); }

    void clear() { destroyFrom(0); }

    void swap(Array& x) noexcept { std::swap(rep_, x.rep_); }

    /// size_t(-1) if no element equals `x`. Otherwise the position of the first one for class
    /// types, but always 1 for scalar types: as in the framework, the result then only shows that
    /// there is one, and callers that need the position use a loop.
    size_t find(const T& x) const {
        for (size_t i = 0; i < size(); i++) {
            if ((*this)[i] == x) {
                return std::is_scalar_v<T> ? 1 : i;
            }
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
    /// Precedes the elements.
    struct alignas(std::max_align_t) Rep {
        size_t size;
        size_t capacity;
    };

    static constexpr size_t minimumCapacity = 8;
    static constexpr size_t maximumCapacity = (PTRDIFF_MAX - sizeof(Rep)) / sizeof(T);

    static T* elementsOf(Rep* rep) noexcept { return reinterpret_cast<T*>(rep + 1); }

    /// The elements. REQUIRES: there is storage.
    T* stored() const noexcept {
        if (!rep_) {
            __builtin_unreachable();
        }
        return elementsOf(rep_);
    }

    template <class... More>
    static Array makeOf(const More&... elements) {
        Array array;
        (array.append(elements), ...);
        return array;
    }

    /// `n`, if that many more elements are possible.
    size_t checked(size_t n) const {
        if (n > maximumCapacity - size()) {
            throw std::bad_alloc();
        }
        return n;
    }

    bool holds(const T* element) const noexcept {
        const auto place = reinterpret_cast<std::uintptr_t>(element);
        return place >= reinterpret_cast<std::uintptr_t>(data()) &&
               place < reinterpret_cast<std::uintptr_t>(data() + size());
    }

    /// Appends an element. REQUIRES: size() < capacity().
    template <class... From>
    void construct(From&&... from) {
        ::new (static_cast<void*>(stored() + rep_->size)) T(std::forward<From>(from)...);
        rep_->size++;
    }

    /// Only trivial values may be moved by the allocator.
    void grow(size_t capacity) {
        if constexpr (std::is_trivially_copyable_v<T>) {
            rep_ = makeRep(rep_, size(), capacity);
        } else {
            Array bigger;
            bigger.rep_ = makeRep(nullptr, 0, capacity);
            for (size_t i = 0; i < size(); i++) {
                bigger.construct(std::move((*this)[i]));
            }
            swap(bigger);
        }
    }

    static Rep* makeRep(Rep* old, size_t size, size_t capacity) {
        static_assert(alignof(T) <= alignof(Rep));
        if (capacity > maximumCapacity) {
            throw std::bad_alloc();
        }
        const size_t bytes = sizeof(Rep) + capacity * sizeof(T);
        auto* rep = static_cast<Rep*>(std::realloc(static_cast<void*>(old), bytes));
        if (!rep) {
            throw std::bad_alloc();
        }
        rep->size = size;
        rep->capacity = capacity;
        return rep;
    }

    void destroyFrom(size_t pos) noexcept {
        if constexpr (!std::is_trivially_destructible_v<T>) {
            for (size_t i = size(); i > pos; i--) {
                (*this)[i - 1].~T();
            }
        }
        if (rep_) {
            rep_->size = pos;
        }
    }

    Rep* rep_;
};

template <class T>
inline bool operator==(const Array<T>& a, const Array<T>& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); i++) {
        if (!(a[i] == b[i])) {
            return false;
        }
    }
    return true;
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
