#include <cimple/Instance.h>

#include <cstring>

#include <cimple/Ref.h>

CIMPLE_NAMESPACE_BEGIN

const Meta_Class Instance::static_meta_class = {
    "Instance",
    nullptr,
    nullptr,
    0,
    0,
    sizeof(Instance),
    &detail::Lifetime<Instance>::construct,
    &detail::Lifetime<Instance>::destruct,
};

namespace {

struct FeatureRange {
    const Meta_Class* meta_class;
    const Meta_Feature* const* begin() const { return meta_class->meta_features; }
    const Meta_Feature* const* end() const { return begin() + meta_class->num_meta_features; }
};

FeatureRange featuresOf(const Instance* instance) {
    return {instance->meta_class};
}

const Meta_Property* asProperty(const Meta_Feature* feature) {
    const bool matches = feature->flags & CIMPLE_FLAG_PROPERTY;
    return matches ? static_cast<const Meta_Property*>(feature) : nullptr;
}

const Meta_Reference* asReference(const Meta_Feature* feature) {
    const bool matches = feature->flags & CIMPLE_FLAG_REFERENCE;
    return matches ? static_cast<const Meta_Reference*>(feature) : nullptr;
}

bool isKey(const Meta_Feature* feature) {
    return feature->flags & CIMPLE_FLAG_KEY;
}

void* fieldAt(Instance* instance, uint32 offset) {
    return reinterpret_cast<char*>(instance) + offset;
}

const void* fieldAt(const Instance* instance, uint32 offset) {
    return reinterpret_cast<const char*>(instance) + offset;
}

uint8& nullOf(Instance* instance, const Meta_Property* property) {
    return *static_cast<uint8*>(fieldAt(instance, property->null_offset));
}

uint8 nullOf(const Instance* instance, const Meta_Property* property) {
    return *static_cast<const uint8*>(fieldAt(instance, property->null_offset));
}

/// All pointers to generated classes have the same representation, so each is accessed as an
/// Instance pointer.
Instance* referenceOf(const Instance* instance, const Meta_Reference* reference) {
    Instance* target;
    // NOLINTNEXTLINE(bugprone-sizeof-expression) -- the field is the pointer
    std::memcpy(&target, fieldAt(instance, reference->offset), sizeof target);
    return target;
}

void setReference(Instance* instance, const Meta_Reference* reference, Instance* target) {
    Instance* old = referenceOf(instance, reference);
    // NOLINTNEXTLINE(bugprone-sizeof-expression) -- the field is the pointer
    std::memcpy(fieldAt(instance, reference->offset), &target, sizeof target);
    unref(old);
}

Instance* cloneOrNull(const Instance* instance) {
    return instance ? clone(instance) : nullptr;
}

bool isNull(const Instance* instance, const Meta_Feature* feature) {
    if (const auto* property = asProperty(feature)) {
        return nullOf(instance, property) != 0;
    }
    if (const auto* reference = asReference(feature)) {
        return !referenceOf(instance, reference);
    }
    return true;
}

template <class PREDICATE>
void setNulls(Instance* instance, uint8 null, PREDICATE applies) {
    for (const Meta_Feature* feature : featuresOf(instance)) {
        const auto* property = asProperty(feature);
        if (property && applies(feature)) {
            nullOf(instance, property) = null;
        }
    }
}

bool always(const Meta_Feature*) {
    return true;
}

/// The property of the other class with the same name and type. The other class may be the same
/// class in another module, which has its own class data.
const Meta_Property* counterpart(const Instance* other, const Meta_Property* property) {
    const auto* found = find_property(other->meta_class, property->name);
    const bool sameType =
        found && found->type == property->type && found->subscript == property->subscript;
    return sameType ? found : nullptr;
}

bool equalFeature(const Instance* a, const Instance* b, const Meta_Feature* feature) {
    if (const auto* property = asProperty(feature)) {
        const auto* other = counterpart(b, property);
        return other &&
               property->operations->equal(fieldAt(a, property->offset), fieldAt(b, other->offset));
    }
    if (const auto* reference = asReference(feature)) {
        const auto* other = find_reference(b->meta_class, reference->name);
        if (!other) {
            return false;
        }
        const Instance* x = referenceOf(a, reference);
        const Instance* y = referenceOf(b, other);
        return x && y ? key_eq(x, y) : x == y;
    }
    return true;
}

void copyFeature(Instance* dest, const Instance* src, const Meta_Feature* feature) {
    if (const auto* property = asProperty(feature)) {
        if (const auto* other = counterpart(dest, property)) {
            property->operations->assign(fieldAt(dest, other->offset),
                                         fieldAt(src, property->offset));
        }
    } else if (const auto* reference = asReference(feature)) {
        if (const auto* other = find_reference(dest->meta_class, reference->name)) {
            setReference(dest, other, cloneOrNull(referenceOf(src, reference)));
        }
    }
}

template <class PREDICATE>
void copyIf(Instance* dest, const Instance* src, PREDICATE applies) {
    if (dest == src) {
        return;
    }
    for (const Meta_Feature* feature : featuresOf(src)) {
        if (applies(feature)) {
            copyFeature(dest, src, feature);
        }
    }
}

bool isListed(const char* name, const char* const* names) {
    for (; *names; names++) {
        if (eqi(name, *names)) {
            return true;
        }
    }
    return false;
}

void printFeature(FILE* file, const Instance* instance, const Meta_Feature* feature) {
    if (const auto* property = asProperty(feature)) {
        std::fprintf(file, "    %s %s = ", type_name[property->type], property->name);
        if (nullOf(instance, property)) {
            std::fputs("NULL", file);
        } else {
            property->operations->print(file, fieldAt(instance, property->offset));
        }
        std::fputs(";\n", file);
    } else if (const auto* reference = asReference(feature)) {
        const Instance* target = referenceOf(instance, reference);
        std::fprintf(file, "    %s = %s;\n", reference->name,
                     target ? class_name_of(target) : "NULL");
    }
}

}  // namespace

Instance* create(const Meta_Class* meta_class, bool defaults) {
    Instance* instance = meta_class->construct();
    instance->__magic = CIMPLE_INSTANCE_MAGIC;
    Atomic_create(&instance->__refs, 1);
    instance->meta_class = meta_class;
    if (!defaults) {
        return instance;
    }
    nullify_properties(instance);
    for (const Meta_Feature* feature : featuresOf(instance)) {
        const auto* property = asProperty(feature);
        if (property && property->set_default) {
            property->set_default(fieldAt(instance, property->offset));
        }
    }
    return instance;
}

void destroy(Instance* instance) {
    if (!instance) {
        return;
    }
    for (const Meta_Feature* feature : featuresOf(instance)) {
        if (const auto* reference = asReference(feature)) {
            setReference(instance, reference, nullptr);
        }
    }
    instance->__magic = 0;
    instance->meta_class->destruct(instance);
}

Instance* clone(const Instance* instance) {
    Ref<Instance> copied(create(instance->meta_class));
    copy(copied.ptr(), instance);
    copied->__name_space = instance->__name_space;
    return copied.steal();
}

Instance* key_clone(const Instance* instance) {
    Ref<Instance> copied(create(instance->meta_class));
    nullify_properties(copied.ptr());
    copy_keys(copied.ptr(), instance);
    return copied.steal();
}

void print(const Instance* instance, bool keys_only) {
    fprint(stdout, instance, keys_only);
}

void fprint(FILE* file, const Instance* instance, bool keys_only) {
    std::fprintf(file, "%s\n{\n", class_name_of(instance));
    for (const Meta_Feature* feature : featuresOf(instance)) {
        if (!keys_only || isKey(feature)) {
            printFeature(file, instance, feature);
        }
    }
    std::fputs("}\n", file);
}

void nullify_properties(Instance* instance) {
    setNulls(instance, 1, always);
}

void nullify_keys(Instance* instance) {
    setNulls(instance, 1, isKey);
}

void nullify_non_keys(Instance* instance) {
    setNulls(instance, 1, [](const Meta_Feature* feature) { return !isKey(feature); });
}

void de_nullify_properties(Instance* instance) {
    setNulls(instance, 0, always);
}

void de_nullify_keys(Instance* instance) {
    setNulls(instance, 0, isKey);
}

void filter_properties(Instance* instance, const char* const* names, bool keep_keys) {
    setNulls(instance, 1, [=](const Meta_Feature* feature) {
        return !(keep_keys && isKey(feature)) && !isListed(feature->name, names);
    });
}

void clear(Instance* instance) {
    for (const Meta_Feature* feature : featuresOf(instance)) {
        if (const auto* property = asProperty(feature)) {
            property->operations->clear(fieldAt(instance, property->offset));
        } else if (const auto* reference = asReference(feature)) {
            setReference(instance, reference, nullptr);
        }
    }
}

bool key_eq(const Instance* a, const Instance* b) {
    if (a->meta_class->num_keys != b->meta_class->num_keys) {
        return false;
    }
    for (const Meta_Feature* feature : featuresOf(a)) {
        if (isKey(feature) && !equalFeature(a, b, feature)) {
            return false;
        }
    }
    return true;
}

bool identical(const Instance* a, const Instance* b) {
    if (a->meta_class != b->meta_class || a->__name_space != b->__name_space) {
        return false;
    }
    for (const Meta_Feature* feature : featuresOf(a)) {
        if (!equalFeature(a, b, feature)) {
            return false;
        }
    }
    return true;
}

bool keys_non_null(const Instance* instance) {
    for (const Meta_Feature* feature : featuresOf(instance)) {
        if (isKey(feature) && isNull(instance, feature)) {
            return false;
        }
    }
    return true;
}

void copy(Instance* dest, const Instance* src) {
    copyIf(dest, src, always);
}

void copy(Instance* dest, const Instance* src, const Instance* model) {
    copyIf(dest, src, [model](const Meta_Feature* feature) {
        if (feature->flags & CIMPLE_FLAG_PROPERTY) {
            const auto* property = find_property(model->meta_class, feature->name);
            return property && !isNull(model, property);
        }
        const auto* reference = find_reference(model->meta_class, feature->name);
        return reference && !isNull(model, reference);
    });
}

void copy_keys(Instance* dest, const Instance* src) {
    copyIf(dest, src, isKey);
}

namespace detail {

bool derives(const Meta_Class* meta_class, const Meta_Class* ancestor) {
    for (; meta_class; meta_class = meta_class->super_meta_class) {
        if (meta_class == ancestor || eqi(meta_class->name, ancestor->name)) {
            return true;
        }
    }
    return false;
}

}  // namespace detail

CIMPLE_NAMESPACE_END
