#include "CIM_ProcessIndication.h"

#include "IndicationSchema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties = schema::indication<CIM_ProcessIndication>;
constexpr auto features = schema::features(properties);

}  // namespace

const Meta_Class CIM_ProcessIndication::static_meta_class =
    schema::metaClass<CIM_ProcessIndication>("CIM_ProcessIndication",
                                             &CIM_Indication::static_meta_class, features);

CIMPLE_NAMESPACE_END
