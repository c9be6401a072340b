#pragma once

#include <cimple/Type.h>

CIMPLE_NAMESPACE_BEGIN

/// A value of a CIM property with its null state. An aggregate without a constructor: the fields of
/// a local scalar property are uninitialised before `set` or `clear`. Distinct objects may be used
/// by distinct threads.
template <class T>
struct Property {
    T value;
    /// 1 if the property is null, else 0. Writing `value` directly does not change it.
    uint8 null;

    void set(const T& x) {
        value = x;
        null = 0;
    }

    /// Makes the value empty and the property null.
    void clear() {
        __clear(value);
        null = 1;
    }
};

/// Equal if null states and values are both equal. The values count even if both are null.
template <class T>
inline bool operator==(const Property<T>& a, const Property<T>& b) {
    return a.null == b.null && a.value == b.value;
}

template <class T>
inline bool operator!=(const Property<T>& a, const Property<T>& b) {
    return !(a == b);
}

CIMPLE_NAMESPACE_END
