#pragma once

#include <cimple/cimple.h>

#include "CIM_ConcreteJob.h"
#include "CIM_LogicalElement.h"

CIMPLE_NAMESPACE_BEGIN

/// The class CIM_EnabledLogicalElement of the CIM schema 2.14.
class CIM_EnabledLogicalElement : public Instance {
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

    CIMPLE_CLASS(CIM_EnabledLogicalElement)
};

/// The parameters of RequestStateChange.
class CIM_EnabledLogicalElement_RequestStateChange_method : public Instance {
  public:
    Property<uint16> RequestedState;
    CIM_ConcreteJob* Job;
    Property<Datetime> TimeoutPeriod;
    Property<uint32> return_value;

    CIMPLE_METHOD(CIM_EnabledLogicalElement_RequestStateChange_method)
};

CIMPLE_NAMESPACE_END
