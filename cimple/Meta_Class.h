#pragma once

#include <cimple/Meta_Feature.h>
#include <cimple/Meta_Method.h>
#include <cimple/Meta_Property.h>
#include <cimple/Meta_Reference.h>

CIMPLE_NAMESPACE_BEGIN

struct Instance;

/// The description of a CIM class: its features, inherited ones first.
struct Meta_Class {
    const char* name;
    /// Null for a root class.
    const Meta_Class* super_meta_class;
    const Meta_Feature* const* meta_features;
    size_t num_meta_features;
    size_t num_keys;
    /// Bytes of an instance.
    size_t size;
    /// Create and free an instance. A new one is all zero and empty and has no count yet.
    Instance* (*construct)();
    void (*destruct)(Instance*);
};

/// The feature of that name (ignoring case); null if there is none or it is of another kind.
const Meta_Property* find_property(const Meta_Class* meta_class, const char* name);
const Meta_Reference* find_reference(const Meta_Class* meta_class, const char* name);
const Meta_Method* find_method(const Meta_Class* meta_class, const char* name);

CIMPLE_NAMESPACE_END
