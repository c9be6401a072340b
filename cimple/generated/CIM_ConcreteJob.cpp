#include "CIM_ConcreteJob.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

using Parameters = CIM_ConcreteJob_RequestStateChange_method;

constexpr auto parameters = schema::list(CIMPLE_SCHEMA_PROPERTY(Parameters, RequestedState),
                                         CIMPLE_SCHEMA_PROPERTY(Parameters, TimeoutPeriod),
                                         CIMPLE_SCHEMA_PROPERTY(Parameters, return_value));
constexpr auto parameterFeatures = schema::features(parameters);

constexpr auto properties = schema::concreteJob<CIM_ConcreteJob>;
constexpr auto killJob = schema::method("KillJob", &CIM_Job_KillJob_method::static_meta_class);
constexpr auto requestStateChange =
    schema::method("RequestStateChange", &Parameters::static_meta_class);
constexpr auto features = schema::features(properties, killJob, requestStateChange);

}  // namespace

const Meta_Class CIM_ConcreteJob::static_meta_class =
    schema::metaClass<CIM_ConcreteJob>("CIM_ConcreteJob", &CIM_Job::static_meta_class, features);

const Meta_Class CIM_ConcreteJob_RequestStateChange_method::static_meta_class =
    schema::metaClass<Parameters>("RequestStateChange", nullptr, parameterFeatures);

CIMPLE_NAMESPACE_END
