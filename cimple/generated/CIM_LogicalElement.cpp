#include "CIM_LogicalElement.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties = schema::managedSystemElement<CIM_LogicalElement>;
constexpr auto features = schema::features(properties);

}  // namespace

const Meta_Class CIM_LogicalElement::static_meta_class = schema::metaClass<CIM_LogicalElement>(
    "CIM_LogicalElement", &CIM_ManagedSystemElement::static_meta_class, features);

CIMPLE_NAMESPACE_END
