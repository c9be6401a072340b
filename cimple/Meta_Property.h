#pragma once

#include <cstdio>

#include <cimple/Meta_Feature.h>
#include <cimple/Type.h>

CIMPLE_NAMESPACE_BEGIN

/// Operations on properties of one C++ type. The pointers are to its `Property<T>`.
struct Property_Operations {
    void (*assign)(void* to, const void* from);
    bool (*equal)(const void* a, const void* b);
    void (*clear)(void* property);
    void (*print)(FILE* file, const void* property);
};

struct Meta_Property : Meta_Feature {
    Type type;
    /// 0: scalar, -1: array.
    sint16 subscript;
    /// Offsets of the `Property<T>` and of its null byte in the instance.
    uint32 offset;
    uint32 null_offset;
    const Property_Operations* operations;
    /// Sets the default value of the MOF; null if there is none.
    void (*set_default)(void* property);
};

CIMPLE_NAMESPACE_END
