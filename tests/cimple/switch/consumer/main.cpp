#include <cstdio>

#include "KRM_TBLComputerSystem.h"
#include "provider.h"

int main() {
    cimple::Ref<cimple::KRM_TBLConcreteJob> job = makeJob();
    cimple::Ref<cimple::KRM_TBLComputerSystem> system(cimple::KRM_TBLComputerSystem::create());
    cimple::CIM_Job* base = cimple::cast<cimple::CIM_Job*>(job.ptr());
    const bool works = base && base->JobRunTimes.value == 1 && job->InstanceID.value == "job" &&
                       !cimple::is_a<cimple::KRM_TBLComputerSystem>(job.ptr()) &&
                       cimple::keys_non_null(system.ptr());
    std::puts(works ? "The consumer works." : "The consumer fails.");
    return works ? 0 : 1;
}
