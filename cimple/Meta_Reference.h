#pragma once

#include <cimple/Meta_Feature.h>

CIMPLE_NAMESPACE_BEGIN

struct Meta_Class;

struct Meta_Reference : Meta_Feature {
    /// The class of the objects referred to.
    const Meta_Class* meta_class;
    /// Always 0: arrays of references occur in the parameters of methods only.
    sint16 subscript;
    /// Place of the pointer in the instance.
    uint32 offset;
};

CIMPLE_NAMESPACE_END
