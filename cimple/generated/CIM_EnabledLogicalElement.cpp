#include "CIM_EnabledLogicalElement.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

using Parameters = CIM_EnabledLogicalElement_RequestStateChange_method;

constexpr auto parameters = schema::list(CIMPLE_SCHEMA_PROPERTY(Parameters, RequestedState),
                                         CIMPLE_SCHEMA_PROPERTY(Parameters, TimeoutPeriod),
                                         CIMPLE_SCHEMA_PROPERTY(Parameters, return_value));
constexpr auto job =
    schema::reference("Job", &CIM_ConcreteJob::static_meta_class, offsetof(Parameters, Job));
constexpr auto parameterFeatures = schema::features(parameters, job);

constexpr auto properties = schema::enabledLogicalElement<CIM_EnabledLogicalElement>;
constexpr auto requestStateChange =
    schema::method("RequestStateChange", &Parameters::static_meta_class);
constexpr auto features = schema::features(properties, requestStateChange);

}  // namespace

const Meta_Class CIM_EnabledLogicalElement::static_meta_class =
    schema::metaClass<CIM_EnabledLogicalElement>("CIM_EnabledLogicalElement",
                                                 &CIM_LogicalElement::static_meta_class, features);

const Meta_Class CIM_EnabledLogicalElement_RequestStateChange_method::static_meta_class =
    schema::metaClass<Parameters>("RequestStateChange", nullptr, parameterFeatures);

CIMPLE_NAMESPACE_END
