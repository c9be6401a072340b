#pragma once

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

/// A reference count. Any thread may call any function.
struct Atomic {
    int n;
};

inline void Atomic_create(Atomic* atomic, int value) {
    __atomic_store_n(&atomic->n, value, __ATOMIC_RELAXED);
}

inline int Atomic_get(const Atomic* atomic) {
    return __atomic_load_n(&atomic->n, __ATOMIC_ACQUIRE);
}

inline void Atomic_inc(Atomic* atomic) {
    __atomic_fetch_add(&atomic->n, 1, __ATOMIC_RELAXED);
}

/// Decrements the count; true if it is then 0.
inline bool Atomic_dec_and_test(Atomic* atomic) {
    return __atomic_sub_fetch(&atomic->n, 1, __ATOMIC_ACQ_REL) == 0;
}

inline void Atomic_destroy(Atomic*) {}

CIMPLE_NAMESPACE_END
