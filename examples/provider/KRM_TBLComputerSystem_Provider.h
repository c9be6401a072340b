#pragma once

#include <cimple/cimple.h>

#include "KRM_TBLComputerSystem.h"

CIMPLE_NAMESPACE_BEGIN

/// The computer system of this machine: one instance, read from the management agent at each
/// request. The operations report a refused access as access denied, and every other error,
/// including an absent agent, as a failure with its text.
///
/// Thread-safety: the framework calls one operation at a time.
class KRM_TBLComputerSystem_Provider {
  public:
    typedef KRM_TBLComputerSystem Class;

    KRM_TBLComputerSystem_Provider();
    ~KRM_TBLComputerSystem_Provider();

    /// Does not contact the agent, which may start later than the CIM server.
    Load_Status load();
    Unload_Status unload();

    Get_Instance_Status get_instance(const KRM_TBLComputerSystem* model,
                                     KRM_TBLComputerSystem*& instance);
    Enum_Instances_Status enum_instances(const KRM_TBLComputerSystem* model,
                                         Enum_Instances_Handler<KRM_TBLComputerSystem>* handler);
    /// Not supported: machines are not created or removed by request.
    Create_Instance_Status create_instance(KRM_TBLComputerSystem* instance);
    Delete_Instance_Status delete_instance(const KRM_TBLComputerSystem* instance);
    /// Sets PrimaryOwnerContact. A request that would change another property is not supported and
    /// changes nothing.
    Modify_Instance_Status modify_instance(const KRM_TBLComputerSystem* model,
                                           const KRM_TBLComputerSystem* instance);

    /// Asks the agent to shut the machine down (RequestedState 4) or to restart it (10), and gives
    /// the job that represents the request, an instance of KRM_TBLConcreteJob. The agent reports
    /// only refused access at once.
    Invoke_Method_Status RequestStateChange(const KRM_TBLComputerSystem* self,
                                            const Property<uint16>& RequestedState,
                                            CIM_ConcreteJob*& Job,
                                            const Property<Datetime>& TimeoutPeriod,
                                            Property<uint32>& return_value);
    /// Not supported.
    Invoke_Method_Status SetPowerState(const KRM_TBLComputerSystem* self,
                                       const Property<uint32>& PowerState,
                                       const Property<Datetime>& Time,
                                       Property<uint32>& return_value);
    /*@END@*/
};

CIMPLE_NAMESPACE_END
