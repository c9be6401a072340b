#include "CIM_ComputerSystem.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

using Parameters = CIM_ComputerSystem_SetPowerState_method;

constexpr auto parameters = schema::list(CIMPLE_SCHEMA_PROPERTY(Parameters, PowerState),
                                         CIMPLE_SCHEMA_PROPERTY(Parameters, Time),
                                         CIMPLE_SCHEMA_PROPERTY(Parameters, return_value));
constexpr auto parameterFeatures = schema::features(parameters);

constexpr auto properties = schema::computerSystem<CIM_ComputerSystem>;
constexpr auto requestStateChange = schema::method(
    "RequestStateChange", &CIM_ComputerSystem_RequestStateChange_method::static_meta_class);
constexpr auto setPowerState = schema::method("SetPowerState", &Parameters::static_meta_class);
constexpr auto features = schema::features(properties, requestStateChange, setPowerState);

}  // namespace

const Meta_Class CIM_ComputerSystem::static_meta_class = schema::metaClass<CIM_ComputerSystem>(
    "CIM_ComputerSystem", &CIM_System::static_meta_class, features);

const Meta_Class CIM_ComputerSystem_SetPowerState_method::static_meta_class =
    schema::metaClass<Parameters>("SetPowerState", nullptr, parameterFeatures);

CIMPLE_NAMESPACE_END
