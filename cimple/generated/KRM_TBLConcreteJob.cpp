#include "KRM_TBLConcreteJob.h"

#include "Schema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties = schema::concreteJob<KRM_TBLConcreteJob>;
constexpr auto killJob = schema::method("KillJob", &CIM_Job_KillJob_method::static_meta_class);
constexpr auto requestStateChange = schema::method(
    "RequestStateChange", &KRM_TBLConcreteJob_RequestStateChange_method::static_meta_class);
constexpr auto features = schema::features(properties, killJob, requestStateChange);

}  // namespace

const Meta_Class KRM_TBLConcreteJob::static_meta_class = schema::metaClass<KRM_TBLConcreteJob>(
    "KRM_TBLConcreteJob", &CIM_ConcreteJob::static_meta_class, features);

CIMPLE_NAMESPACE_END
