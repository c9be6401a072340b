#pragma once

#include <cimple/cimple.h>

#include "KRM_TBLConcreteJob.h"

CIMPLE_NAMESPACE_BEGIN

/// The job of the last request to shut down or restart this machine; ShutdownJob.h describes its
/// life cycle. An absent agent is not a failure here: it stops before the CIM server does.
///
/// Thread-safety: the framework calls one operation at a time.
class KRM_TBLConcreteJob_Provider {
  public:
    typedef KRM_TBLConcreteJob Class;

    KRM_TBLConcreteJob_Provider();
    ~KRM_TBLConcreteJob_Provider();

    Load_Status load();
    Unload_Status unload();

    Get_Instance_Status get_instance(const KRM_TBLConcreteJob* model,
                                     KRM_TBLConcreteJob*& instance);
    Enum_Instances_Status enum_instances(const KRM_TBLConcreteJob* model,
                                         Enum_Instances_Handler<KRM_TBLConcreteJob>* handler);
    /// Not supported: requests create jobs.
    Create_Instance_Status create_instance(KRM_TBLConcreteJob* instance);
    /// Removes the job without cancelling the request.
    Delete_Instance_Status delete_instance(const KRM_TBLConcreteJob* instance);
    /// Sets DeleteOnCompletion and TimeBeforeRemoval. A request that would change another property
    /// is not supported and changes nothing.
    Modify_Instance_Status modify_instance(const KRM_TBLConcreteJob* model,
                                           const KRM_TBLConcreteJob* instance);

    /// Not supported: the agent cannot cancel a request.
    Invoke_Method_Status KillJob(const KRM_TBLConcreteJob* self,
                                 const Property<boolean>& DeleteOnKill,
                                 Property<uint32>& return_value);
    /// Not supported.
    Invoke_Method_Status RequestStateChange(const KRM_TBLConcreteJob* self,
                                            const Property<uint16>& RequestedState,
                                            const Property<Datetime>& TimeoutPeriod,
                                            Property<uint32>& return_value);
    /*@END@*/
};

CIMPLE_NAMESPACE_END
