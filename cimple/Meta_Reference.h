#pragma once

#include <cimple/Meta_Feature.h>

CIMPLE_NAMESPACE_BEGIN

struct Meta_Class;

struct Meta_Reference : Meta_Feature {
    /// The class of the referenced objects.
    const Meta_Class* meta_class;
    /// Always 0: arrays of references occur only in method parameters.
    sint16 subscript;
    /// Offset of the pointer in the instance.
    uint32 offset;
};

CIMPLE_NAMESPACE_END
