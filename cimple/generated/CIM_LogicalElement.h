#pragma once

#include <cimple/cimple.h>

#include "CIM_ManagedSystemElement.h"

CIMPLE_NAMESPACE_BEGIN

/// The class CIM_LogicalElement of the CIM schema 2.14.
class CIM_LogicalElement : public Instance {
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

    CIMPLE_CLASS(CIM_LogicalElement)
};

CIMPLE_NAMESPACE_END
