#pragma once

#include <cimple/cimple.h>

#include "CIM_Indication.h"

CIMPLE_NAMESPACE_BEGIN

/// The class CIM_ProcessIndication of the CIM schema, as far as the sample uses it.
class CIM_ProcessIndication : public Instance {
  public:
    /// CIM_Indication
    Property<String> IndicationIdentifier;
    Property<Array_String> CorrelatedIndications;
    Property<Datetime> IndicationTime;

    CIMPLE_CLASS(CIM_ProcessIndication)
};

CIMPLE_NAMESPACE_END
