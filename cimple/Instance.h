#pragma once

#include <cstddef>
#include <cstdio>
#include <type_traits>

#include <cimple/Array.h>
#include <cimple/Atomic.h>
#include <cimple/Meta_Class.h>
#include <cimple/Property.h>
#include <cimple/String.h>

/// The first word of every instance.
#define CIMPLE_INSTANCE_MAGIC 0xF00DFACE

CIMPLE_NAMESPACE_BEGIN

namespace detail {
template <class CLASS>
struct Lifetime;
}

/// The base of all generated classes and of the objects with method parameters. Instances are on
/// the heap and reference-counted. The count is thread-safe; everything else needs a lock of the
/// caller.
struct Instance {
    uint32 __magic;
    Atomic __refs;
    const Meta_Class* meta_class;
    String __name_space;

    static const Meta_Class static_meta_class;

    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

  protected:
    Instance() = default;
    ~Instance() = default;
    friend struct detail::Lifetime<Instance>;
};

/// A new instance with a count of 1. With defaults, properties have their default of the MOF and
/// are otherwise null; without, all are zero or empty and none is null. References are always null
/// pointers.
Instance* create(const Meta_Class* meta_class, bool defaults = false);

/// Frees an instance regardless of its count, and releases its references. A null variable is
/// ignored; the literal does not compile, as in the framework.
void destroy(Instance* instance);
void destroy(std::nullptr_t) = delete;

/// A deep copy including the name space and the referenced objects; its count is 1.
Instance* clone(const Instance* instance);

/// A copy of only the keys; everything else is null, without the name space.
Instance* key_clone(const Instance* instance);

template <class CLASS>
inline void ref(const CLASS* instance) {
    const Instance* base = instance;
    if (base) {
        Atomic_inc(&const_cast<Instance*>(base)->__refs);
    }
}

/// Releases one reference; the last one frees the instance.
template <class CLASS>
inline void unref(const CLASS* instance) {
    auto* base = const_cast<Instance*>(static_cast<const Instance*>(instance));
    if (base && Atomic_dec_and_test(&base->__refs)) {
        destroy(base);
    }
}

inline const char* class_name_of(const Instance* instance) {
    return instance->meta_class->name;
}

/// Write an instance as text, including null properties.
void print(const Instance* instance, bool keys_only = false);
void fprint(FILE* file, const Instance* instance, bool keys_only = false);

/// These change only null states, neither values nor references.
void nullify_properties(Instance* instance);
void nullify_keys(Instance* instance);
void nullify_non_keys(Instance* instance);
void de_nullify_properties(Instance* instance);
void de_nullify_keys(Instance* instance);

/// Makes all properties null that are not in `names` (ended by a null pointer).
void filter_properties(Instance* instance, const char* const* names, bool keep_keys = true);

/// Makes all properties empty and null, and releases the references.
void clear(Instance* instance);

/// True if both have the same keys with the same types, null states and values. The classes may
/// differ.
bool key_eq(const Instance* a, const Instance* b);

/// True if class, name space and all properties are the same.
bool identical(const Instance* a, const Instance* b);

/// False if a key property is null or a key reference is a null pointer.
bool keys_non_null(const Instance* instance);

/// Copy the features that both classes have with the same type: all of them, those that are
/// non-null in `model` (including keys), or the keys. Referenced objects are cloned.
void copy(Instance* dest, const Instance* src);
void copy(Instance* dest, const Instance* src, const Instance* model);
void copy_keys(Instance* dest, const Instance* src);

namespace detail {

/// True if `meta_class` is `ancestor` or derives from it. Names are compared ignoring case.
bool derives(const Meta_Class* meta_class, const Meta_Class* ancestor);

template <class CLASS>
inline bool isA(const Instance* instance) {
    if constexpr (std::is_same_v<std::remove_const_t<CLASS>, Instance>) {
        return instance != nullptr;
    } else {
        return instance && (instance->meta_class == &CLASS::static_meta_class ||
                            derives(instance->meta_class, &CLASS::static_meta_class));
    }
}

}  // namespace detail

/// `cast<X*>(instance)` converts to the instance as an `X*`: null if it is null or not of class X
/// or a class derived from it. Drops const.
template <class POINTER>
struct cast;

template <class CLASS>
struct cast<CLASS*> {
    explicit cast(const Instance* instance) : instance_(const_cast<Instance*>(instance)) {}
    operator CLASS*() const {
        return detail::isA<CLASS>(instance_) ? static_cast<CLASS*>(instance_) : nullptr;
    }

  private:
    Instance* instance_;
};

/// `is_a<X>(instance)` converts to true if `cast<X*>(instance)` is not null.
template <class CLASS>
struct is_a {
    explicit is_a(const Instance* instance) : result_(detail::isA<CLASS>(instance)) {}
    operator bool() const { return result_; }

  private:
    bool result_;
};

namespace detail {

/// Lets the meta data create and free the objects of a class, whose constructor is private.
template <class CLASS>
struct Lifetime {
    static Instance* construct() { return new CLASS(); }
    static void destruct(Instance* instance) { delete static_cast<CLASS*>(instance); }
};

}  // namespace detail

CIMPLE_NAMESPACE_END

// Parts of the two macros below.
#define CIMPLE_INSTANCE_(CLASS)                            \
  public:                                                  \
    static const ::cimple::Meta_Class static_meta_class;   \
    static void destroy(CLASS* instance) {                 \
        ::cimple::destroy(instance);                       \
    }                                                      \
    CLASS* clone() const {                                 \
        return static_cast<CLASS*>(::cimple::clone(this)); \
    }                                                      \
                                                           \
  private:                                                 \
    CLASS() = default;                                     \
    ~CLASS() = default;                                    \
    friend struct ::cimple::detail::Lifetime<CLASS>;

/// The last line of a generated class: its meta class, create, destroy and clone.
#define CIMPLE_CLASS(CLASS)                                                         \
    CIMPLE_INSTANCE_(CLASS)                                                         \
  public:                                                                           \
    static CLASS* create(bool defaults = false) {                                   \
        return static_cast<CLASS*>(::cimple::create(&static_meta_class, defaults)); \
    }

/// The same for a class of method parameters.
#define CIMPLE_METHOD(CLASS)                                                     \
    CIMPLE_INSTANCE_(CLASS)                                                      \
  public:                                                                        \
    static CLASS* create() {                                                     \
        return static_cast<CLASS*>(::cimple::create(&static_meta_class, false)); \
    }
