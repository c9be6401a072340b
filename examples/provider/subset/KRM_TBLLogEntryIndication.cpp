#include "KRM_TBLLogEntryIndication.h"

#include "IndicationSchema.h"

CIMPLE_NAMESPACE_BEGIN

namespace {

constexpr auto properties =
    schema::extend(schema::indication<KRM_TBLLogEntryIndication>,
                   CIMPLE_SCHEMA_PROPERTY(KRM_TBLLogEntryIndication, LogName),
                   CIMPLE_SCHEMA_PROPERTY(KRM_TBLLogEntryIndication, SequenceNumber),
                   CIMPLE_SCHEMA_PROPERTY(KRM_TBLLogEntryIndication, Gap),
                   CIMPLE_SCHEMA_PROPERTY(KRM_TBLLogEntryIndication, LostEntries));
constexpr auto features = schema::features(properties);

}  // namespace

const Meta_Class KRM_TBLLogEntryIndication::static_meta_class =
    schema::metaClass<KRM_TBLLogEntryIndication>(
        "KRM_TBLLogEntryIndication", &CIM_ProcessIndication::static_meta_class, features);

CIMPLE_NAMESPACE_END
