#include "CIM_ManagedElement.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties = schema::managedElement<CIM_ManagedElement>;
constexpr auto features = schema::features(properties);

}  // namespace

const Meta_Class CIM_ManagedElement::static_meta_class =
    schema::metaClass<CIM_ManagedElement>("CIM_ManagedElement", nullptr, features);

CIMPLE_NAMESPACE_END
