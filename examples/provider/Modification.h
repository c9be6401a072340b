#pragma once

#include <cimple/cimple.h>

namespace krm {

/// False for a request with a whole instance: its model has no null property.
template <class Class>
bool namesProperties(const Class* model) {
    cimple::Ref<Class> all(model->clone());
    cimple::de_nullify_properties(all.ptr());
    return !cimple::identical(all.ptr(), model);
}

template <class Class, class Property>
void forgetDefault(Class& instance, const Class& defaults, Property Class::*property) {
    if (instance.*property == defaults.*property) {
        (instance.*property).clear();
    }
}

/// `now` after a request to modify it. A request with a property list sets all listed properties,
/// also to null. A request with a whole instance leaves properties unchanged that are null in it,
/// or that have the default of the class, which the CIM server may have inserted: these are
/// `withDefault`. All instances are of classes of this module.
template <class Class, class... Properties>
cimple::Ref<Class> modified(const Class& now, const Class* model, const Class* instance,
                            Properties Class::*... withDefault) {
    cimple::Ref<Class> result(now.clone());
    if (namesProperties(model)) {
        cimple::copy(result.ptr(), instance, model);
        return result;
    }
    cimple::Ref<Class> given(instance->clone());
    const cimple::Ref<Class> defaults(Class::create(true));
    (forgetDefault(*given, *defaults, withDefault), ...);
    cimple::copy(result.ptr(), given.ptr(), given.ptr());
    return result;
}

}  // namespace krm
