#include "CIM_Indication.h"

#include "IndicationSchema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties = schema::indication<CIM_Indication>;
constexpr auto features = schema::features(properties);

}  // namespace

const Meta_Class CIM_Indication::static_meta_class =
    schema::metaClass<CIM_Indication>("CIM_Indication", nullptr, features);

CIMPLE_NAMESPACE_END
