#include "CIM_ManagedSystemElement.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties = schema::managedSystemElement<CIM_ManagedSystemElement>;
constexpr auto features = schema::features(properties);

}  // namespace

const Meta_Class CIM_ManagedSystemElement::static_meta_class =
    schema::metaClass<CIM_ManagedSystemElement>("CIM_ManagedSystemElement",
                                                &CIM_ManagedElement::static_meta_class, features);

CIMPLE_NAMESPACE_END
