#include <cimple/Type.h>

CIMPLE_NAMESPACE_BEGIN

const char* const type_name[14] = {
    "boolean", "uint8",  "sint8",  "uint16", "sint16", "uint32", "sint32",
    "uint64",  "sint64", "real32", "real64", "char16", "string", "datetime",
};

const size_t type_size[14] = {
    sizeof(boolean), sizeof(uint8),  sizeof(sint8),  sizeof(uint16),   sizeof(sint16),
    sizeof(uint32),  sizeof(sint32), sizeof(uint64), sizeof(sint64),   sizeof(real32),
    sizeof(real64),  sizeof(char16), sizeof(String), sizeof(Datetime),
};

CIMPLE_NAMESPACE_END
