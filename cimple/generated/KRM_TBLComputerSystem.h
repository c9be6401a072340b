#pragma once

#include <cimple/cimple.h>

#include "CIM_ComputerSystem.h"

CIMPLE_NAMESPACE_BEGIN

/// The computer system of a managed node. Its keys are Name and CreationClassName.
class KRM_TBLComputerSystem : public Instance {
  public:
    // CIM_ManagedElement
    Property<String> Caption;
    Property<String> Description;
    Property<String> ElementName;
    // CIM_ManagedSystemElement
    Property<Datetime> InstallDate;
    Property<String> Name;
    Property<Array_uint16> OperationalStatus;
    Property<Array_String> StatusDescriptions;
    Property<String> Status;
    Property<uint16> HealthState;
    // CIM_EnabledLogicalElement
    Property<uint16> EnabledState;
    Property<String> OtherEnabledState;
    Property<uint16> RequestedState;
    Property<uint16> EnabledDefault;
    Property<Datetime> TimeOfLastStateChange;
    // CIM_System
    Property<String> CreationClassName;
    Property<String> NameFormat;
    Property<String> PrimaryOwnerName;
    Property<String> PrimaryOwnerContact;
    Property<Array_String> Roles;
    // CIM_ComputerSystem
    Property<Array_String> OtherIdentifyingInfo;
    Property<Array_String> IdentifyingDescriptions;
    Property<Array_uint16> Dedicated;
    Property<Array_String> OtherDedicatedDescriptions;
    Property<uint16> ResetCapability;
    Property<Array_uint16> PowerManagementCapabilities;

    CIMPLE_CLASS(KRM_TBLComputerSystem)
};

typedef CIM_EnabledLogicalElement_RequestStateChange_method
    KRM_TBLComputerSystem_RequestStateChange_method;

typedef CIM_ComputerSystem_SetPowerState_method KRM_TBLComputerSystem_SetPowerState_method;

CIMPLE_NAMESPACE_END
