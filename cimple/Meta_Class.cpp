#include <cimple/Meta_Class.h>

#include <cimple/String.h>

CIMPLE_NAMESPACE_BEGIN

namespace {

const Meta_Feature* findFeature(const Meta_Class* meta_class, uint32 kind, const char* name) {
    for (size_t i = 0; i < meta_class->num_meta_features; i++) {
        const Meta_Feature* feature = meta_class->meta_features[i];
        if ((feature->flags & kind) && eqi(feature->name, name)) {
            return feature;
        }
    }
    return nullptr;
}

}  // namespace

const Meta_Property* find_property(const Meta_Class* meta_class, const char* name) {
    return static_cast<const Meta_Property*>(findFeature(meta_class, CIMPLE_FLAG_PROPERTY, name));
}

const Meta_Reference* find_reference(const Meta_Class* meta_class, const char* name) {
    return static_cast<const Meta_Reference*>(findFeature(meta_class, CIMPLE_FLAG_REFERENCE, name));
}

const Meta_Method* find_method(const Meta_Class* meta_class, const char* name) {
    return static_cast<const Meta_Method*>(findFeature(meta_class, CIMPLE_FLAG_METHOD, name));
}

CIMPLE_NAMESPACE_END
