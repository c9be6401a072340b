#pragma once

#include <Schema.h>

CIMPLE_NAMESPACE_BEGIN

namespace schema {

// The properties of CIM_Indication over the class C that inherits them.
template <class C>
constexpr auto indication = list(CIMPLE_SCHEMA_PROPERTY(C, IndicationIdentifier),
                                 CIMPLE_SCHEMA_PROPERTY(C, CorrelatedIndications),
                                 CIMPLE_SCHEMA_PROPERTY(C, IndicationTime));

}  // namespace schema

CIMPLE_NAMESPACE_END
