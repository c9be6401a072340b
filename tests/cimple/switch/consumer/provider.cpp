#include "provider.h"

#ifndef HEADER_OF_THE_PREFIX
#error "the framework's header is not that of the prefix"
#endif
#ifndef MADE_BY_GENCLASS
#error "the class is not the one that genclass made"
#endif

cimple::Ref<cimple::KRM_TBLConcreteJob> makeJob() {
    cimple::Ref<cimple::KRM_TBLConcreteJob> job(cimple::KRM_TBLConcreteJob::create(true));
    job->InstanceID.set("job");
    return job;
}
