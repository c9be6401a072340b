#pragma once

#include <cimple/cimple.h>

CIMPLE_NAMESPACE_BEGIN

/// The class CIM_Indication of the CIM schema, as far as the sample uses it.
class CIM_Indication : public Instance {
  public:
    /// CIM_Indication
    Property<String> IndicationIdentifier;
    Property<Array_String> CorrelatedIndications;
    Property<Datetime> IndicationTime;

    CIMPLE_CLASS(CIM_Indication)
};

CIMPLE_NAMESPACE_END
