#pragma once

#include <cimple/config.h>

/// Flags of a feature: key property (always this bit), and the kind of the feature.
#define CIMPLE_FLAG_PROPERTY (1U << 0)
#define CIMPLE_FLAG_REFERENCE (1U << 1)
#define CIMPLE_FLAG_METHOD (1U << 2)
#define CIMPLE_FLAG_KEY (1U << 21)

CIMPLE_NAMESPACE_BEGIN

/// A member of a class: a property, a reference or a method, according to its flags. All meta data
/// is constant and may be read by any thread.
struct Meta_Feature {
    uint32 flags;
    const char* name;
};

CIMPLE_NAMESPACE_END
