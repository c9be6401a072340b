#pragma once

#include <cimple/cimple.h>

#include "CIM_ProcessIndication.h"

CIMPLE_NAMESPACE_BEGIN

/// A log of the management agent has a new entry, or entries may be missing: see repository.mof.
class KRM_TBLLogEntryIndication : public Instance {
  public:
    /// CIM_Indication
    Property<String> IndicationIdentifier;
    Property<Array_String> CorrelatedIndications;
    Property<Datetime> IndicationTime;
    /// KRM_TBLLogEntryIndication
    Property<String> LogName;
    Property<uint32> SequenceNumber;
    Property<String> Gap;
    Property<uint32> LostEntries;

    CIMPLE_CLASS(KRM_TBLLogEntryIndication)
};

CIMPLE_NAMESPACE_END
