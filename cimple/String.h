#pragma once

#include <cimple/Atomic.h>

CIMPLE_NAMESPACE_BEGIN

/// A reference-counted, NUL-terminated byte string with copy-on-write: copies share one buffer
/// until one of them is changed.
///
/// Distinct objects may be used by distinct threads even while they share a buffer; one object
/// needs a lock of the caller. A null `const char*` counts as the empty string. Positions and
/// counts past the end are clamped. Functions that allocate throw std::bad_alloc.
class String {
  public:
    String() noexcept : rep_(nullptr) {}
    String(const String& s) noexcept : rep_(s.rep_) { retain(); }
    String(const char* s);
    String(const char* s, size_t n);
    /// The concatenation of the texts.
    String(const char* s1, const char* s2);
    String(const char* s1, const char* s2, const char* s3);
    ~String() { release(); }

    String& operator=(const String& s) noexcept {
        assign(s);
        return *this;
    }
    String& operator=(const char* s) {
        assign(s);
        return *this;
    }

    /// Reserves space for `n` bytes.
    void reserve(size_t n);

    /// The source may lie inside this string.
    void assign(const String& s) noexcept;
    void assign(const char* s);
    void assign(const char* s, size_t n);

    /// The source may lie inside this string. Allocates a buffer even for an empty source.
    void append(const String& s);
    void append(const char* s);
    void append(const char* s, size_t n);
    void append(char c);

    /// Removes `n` bytes at `pos`; size_t(-1) removes all to the end.
    void remove(size_t pos, size_t n);

    String substr(size_t pos, size_t n = size_t(-1));

    /// Makes the string empty. Keeps an unshared buffer.
    void clear();

    /// Valid until the string is changed or destroyed.
    const char* c_str() const noexcept { return rep_ ? rep_->text() : ""; }
    size_t size() const noexcept { return rep_ ? rep_->size : 0; }
    bool empty() const noexcept { return size() == 0; }
    /// 0 for a string that never had a buffer, else a power of two of at least 32.
    size_t capacity() const noexcept { return rep_ ? rep_->capacity : 0; }

    /// The byte at `pos`; NUL at or past the end.
    char operator[](size_t pos) const noexcept { return pos < size() ? rep_->text()[pos] : '\0'; }
    /// Changes the byte at `pos`; does nothing past the end.
    void set(size_t pos, char c);

    /// Strings compare by their whole length; with a `const char*` the first NUL ends both; with a
    /// length the sizes must be equal.
    bool equal(const String& s) const noexcept;
    bool equal(const char* s) const noexcept;
    bool equal(const char* s, size_t n) const noexcept;
    /// True if the `n` bytes at `pos` are those of `s`.
    bool equal(size_t pos, const char* s, size_t n) const noexcept;

    /// As `equal`, with A to Z and a to z taken as the same.
    bool equali(const String& s) const noexcept;
    bool equali(const char* s) const noexcept;
    bool equali(const char* s, size_t n) const noexcept;

    /// Position of the first match, size_t(-1) if there is none. An embedded NUL ends the search.
    size_t find(char c) const noexcept;
    size_t find(char c, size_t from) const noexcept;
    size_t find(const char* s) const noexcept;
    size_t find(const String& s) const noexcept;

  private:
    struct Rep {
        Atomic refs;
        size_t size;
        size_t capacity;

        char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
        void setSize(size_t n) noexcept {
            size = n;
            text()[n] = '\0';
        }
    };

    static Rep* makeRep(size_t capacity);
    static void freeRep(Rep* rep) noexcept;

    void retain() const noexcept {
        if (rep_) {
            Atomic_inc(&rep_->refs);
        }
    }
    void release() noexcept {
        if (rep_ && Atomic_dec_and_test(&rep_->refs)) {
            freeRep(rep_);
        }
    }
    bool fits(size_t n) const noexcept {
        return rep_ && Atomic_get(&rep_->refs) == 1 && n <= rep_->capacity;
    }
    void adopt(Rep* rep) noexcept;

    Rep* rep_;
};

inline bool operator==(const String& a, const String& b) noexcept {
    return a.equal(b);
}
inline bool operator==(const String& a, const char* b) noexcept {
    return a.equal(b);
}
inline bool operator==(const char* a, const String& b) noexcept {
    return b.equal(a);
}
inline bool operator!=(const String& a, const String& b) noexcept {
    return !a.equal(b);
}
inline bool operator!=(const String& a, const char* b) noexcept {
    return !a.equal(b);
}
inline bool operator!=(const char* a, const String& b) noexcept {
    return !b.equal(a);
}

/// Equality with A to Z and a to z taken as the same, in every locale.
bool eqi(const char* a, const char* b) noexcept;
inline bool eqi(const String& a, const String& b) noexcept {
    return a.equali(b);
}

inline void __clear(String& value) {
    value.clear();
}

CIMPLE_NAMESPACE_END
