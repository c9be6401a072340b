#pragma once

#include <cimple/Meta_Feature.h>

CIMPLE_NAMESPACE_BEGIN

struct Meta_Class;

struct Meta_Method : Meta_Feature {
    /// The class of the objects with the parameters and the return value.
    const Meta_Class* meta_class;
};

CIMPLE_NAMESPACE_END
