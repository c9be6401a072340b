#include "KRM_TBLComputerSystem.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties = schema::computerSystem<KRM_TBLComputerSystem>;
constexpr auto requestStateChange = schema::method(
    "RequestStateChange", &KRM_TBLComputerSystem_RequestStateChange_method::static_meta_class);
constexpr auto setPowerState =
    schema::method("SetPowerState", &KRM_TBLComputerSystem_SetPowerState_method::static_meta_class);
constexpr auto features = schema::features(properties, requestStateChange, setPowerState);

}  // namespace

const Meta_Class KRM_TBLComputerSystem::static_meta_class =
    schema::metaClass<KRM_TBLComputerSystem>("KRM_TBLComputerSystem",
                                             &CIM_ComputerSystem::static_meta_class, features);

CIMPLE_NAMESPACE_END
