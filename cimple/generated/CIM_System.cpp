#include "CIM_System.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties = schema::system<CIM_System>;
constexpr auto requestStateChange =
    schema::method("RequestStateChange", &CIM_System_RequestStateChange_method::static_meta_class);
constexpr auto features = schema::features(properties, requestStateChange);

}  // namespace

const Meta_Class CIM_System::static_meta_class = schema::metaClass<CIM_System>(
    "CIM_System", &CIM_EnabledLogicalElement::static_meta_class, features);

CIMPLE_NAMESPACE_END
