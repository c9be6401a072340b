#include "CIM_Job.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

using Parameters = CIM_Job_KillJob_method;

constexpr auto parameters = schema::list(CIMPLE_SCHEMA_PROPERTY(Parameters, DeleteOnKill),
                                         CIMPLE_SCHEMA_PROPERTY(Parameters, return_value));
constexpr auto parameterFeatures = schema::features(parameters);

constexpr auto properties = schema::job<CIM_Job>;
constexpr auto killJob = schema::method("KillJob", &Parameters::static_meta_class);
constexpr auto features = schema::features(properties, killJob);

}  // namespace

const Meta_Class CIM_Job::static_meta_class =
    schema::metaClass<CIM_Job>("CIM_Job", &CIM_LogicalElement::static_meta_class, features);

const Meta_Class CIM_Job_KillJob_method::static_meta_class =
    schema::metaClass<Parameters>("KillJob", nullptr, parameterFeatures);

CIMPLE_NAMESPACE_END
