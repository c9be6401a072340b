#include <cimple/String.h>

#include <cstring>
#include <new>

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr size_t minimumCapacity = 32;
constexpr size_t maximumCapacity = size_t(1) << 62;

const char* orEmpty(const char* s) {
    return s ? s : "";
}

size_t lengthOf(const char* s) {
    return s ? std::strlen(s) : 0;
}

size_t roundUp(size_t n) {
    if (n > maximumCapacity) {
        throw std::bad_alloc();
    }
    size_t capacity = minimumCapacity;
    while (capacity < n) {
        capacity *= 2;
    }
    return capacity;
}

void copyBytes(char* to, const char* from, size_t n) {
    if (n) {
        std::memmove(to, from, n);
    }
}

int lower(char c) {
    return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
}

bool equalBytesIgnoringCase(const char* a, const char* b, size_t n) {
    for (size_t i = 0; i < n; i++) {
        if (lower(a[i]) != lower(b[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace

String::Rep* String::makeRep(size_t capacity) {
    capacity = roundUp(capacity);
    auto* rep = static_cast<Rep*>(::operator new(sizeof(Rep) + capacity + 1));
    Atomic_create(&rep->refs, 1);
    rep->capacity = capacity;
    rep->setSize(0);
    return rep;
}

void String::freeRep(Rep* rep) noexcept {
    ::operator delete(rep);
}

void String::adopt(Rep* rep) noexcept {
    release();
    rep_ = rep;
}

String::String(const char* s) : String(s, lengthOf(s)) {}

String::String(const char* s, size_t n) : String() {
    assign(s, n);
}

String::String(const char* s1, const char* s2) : String(s1, s2, "") {}

String::String(const char* s1, const char* s2, const char* s3) : String() {
    reserve(lengthOf(s1) + lengthOf(s2) + lengthOf(s3));
    append(s1);
    append(s2);
    append(s3);
}

void String::reserve(size_t n) {
    if (n == 0 || fits(n)) {
        return;
    }
    Rep* rep = makeRep(n < size() ? size() : n);
    copyBytes(rep->text(), c_str(), size());
    rep->setSize(size());
    adopt(rep);
}

void String::assign(const String& s) noexcept {
    s.retain();
    adopt(s.rep_);
}

void String::assign(const char* s) {
    assign(s, lengthOf(s));
}

/// The old buffer is released after the copy, because the source may lie in it.
void String::assign(const char* s, size_t n) {
    if (!s || n == 0) {
        clear();
    } else if (fits(n)) {
        copyBytes(rep_->text(), s, n);
        rep_->setSize(n);
    } else {
        Rep* rep = makeRep(n);
        copyBytes(rep->text(), s, n);
        rep->setSize(n);
        adopt(rep);
    }
}

void String::append(const String& s) {
    append(s.c_str(), s.size());
}

void String::append(const char* s) {
    append(s, lengthOf(s));
}

void String::append(const char* s, size_t n) {
    if (!s) {
        return;
    }
    const size_t oldSize = size();
    if (n > maximumCapacity - oldSize) {
        throw std::bad_alloc();
    }
    if (fits(oldSize + n)) {
        copyBytes(rep_->text() + oldSize, s, n);
        rep_->setSize(oldSize + n);
    } else {
        Rep* rep = makeRep(oldSize + n);
        copyBytes(rep->text(), c_str(), oldSize);
        copyBytes(rep->text() + oldSize, s, n);
        rep->setSize(oldSize + n);
        adopt(rep);
    }
}

void String::append(char c) {
    append(&c, 1);
}

void String::remove(size_t pos, size_t n) {
    const size_t oldSize = size();
    if (pos >= oldSize || n == 0) {
        return;
    }
    if (n > oldSize - pos) {
        n = oldSize - pos;
    }
    reserve(oldSize);
    copyBytes(rep_->text() + pos, rep_->text() + pos + n, oldSize - pos - n);
    rep_->setSize(oldSize - n);
}

String String::substr(size_t pos, size_t n) {
    if (pos >= size()) {
        return String();
    }
    const size_t rest = size() - pos;
    return String(c_str() + pos, n < rest ? n : rest);
}

void String::clear() {
    if (fits(0)) {
        rep_->setSize(0);
    } else {
        adopt(nullptr);
    }
}

void String::set(size_t pos, char c) {
    if (pos >= size()) {
        return;
    }
    reserve(size());
    rep_->text()[pos] = c;
}

bool String::equal(const String& s) const noexcept {
    return rep_ == s.rep_ || equal(s.c_str(), s.size());
}

bool String::equal(const char* s) const noexcept {
    return std::strcmp(c_str(), orEmpty(s)) == 0;
}

bool String::equal(const char* s, size_t n) const noexcept {
    return size() == n && (n == 0 || (s && std::memcmp(c_str(), s, n) == 0));
}

bool String::equal(size_t pos, const char* s, size_t n) const noexcept {
    if (pos > size() || n > size() - pos) {
        return false;
    }
    return n == 0 || (s && std::memcmp(c_str() + pos, s, n) == 0);
}

bool String::equali(const String& s) const noexcept {
    return equali(s.c_str(), s.size());
}

bool String::equali(const char* s) const noexcept {
    return eqi(c_str(), s);
}

bool String::equali(const char* s, size_t n) const noexcept {
    return size() == n && (n == 0 || (s && equalBytesIgnoringCase(c_str(), s, n)));
}

size_t String::find(char c) const noexcept {
    return find(c, 0);
}

size_t String::find(char c, size_t from) const noexcept {
    if (from > size() || c == '\0') {
        return size_t(-1);
    }
    const char* match = std::strchr(c_str() + from, c);
    return match ? static_cast<size_t>(match - c_str()) : size_t(-1);
}

size_t String::find(const char* s) const noexcept {
    const char* match = std::strstr(c_str(), orEmpty(s));
    return match ? static_cast<size_t>(match - c_str()) : size_t(-1);
}

size_t String::find(const String& s) const noexcept {
    return find(s.c_str());
}

bool eqi(const char* a, const char* b) noexcept {
    a = orEmpty(a);
    b = orEmpty(b);
    while (*a && lower(*a) == lower(*b)) {
        a++;
        b++;
    }
    return lower(*a) == lower(*b);
}

CIMPLE_NAMESPACE_END
