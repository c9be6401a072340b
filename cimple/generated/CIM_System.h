#pragma once

#include <cimple/cimple.h>

#include "CIM_EnabledLogicalElement.h"

CIMPLE_NAMESPACE_BEGIN

/// The class CIM_System of the CIM schema 2.14.
class CIM_System : public Instance {
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

    CIMPLE_CLASS(CIM_System)
};

typedef CIM_EnabledLogicalElement_RequestStateChange_method CIM_System_RequestStateChange_method;

CIMPLE_NAMESPACE_END
