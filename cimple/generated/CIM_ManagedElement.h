#pragma once

#include <cimple/cimple.h>

CIMPLE_NAMESPACE_BEGIN

/// The class CIM_ManagedElement of the CIM schema 2.14.
class CIM_ManagedElement : public Instance {
  public:
    // CIM_ManagedElement
    Property<String> Caption;
    Property<String> Description;
    Property<String> ElementName;

    CIMPLE_CLASS(CIM_ManagedElement)
};

CIMPLE_NAMESPACE_END
