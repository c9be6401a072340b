#pragma once

#include <cimple/Array.h>
#include <cimple/Datetime.h>
#include <cimple/String.h>
#include <cimple/char16.h>
#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

/// The CIM data types.
enum Type {
    BOOLEAN,
    UINT8,
    SINT8,
    UINT16,
    SINT16,
    UINT32,
    SINT32,
    UINT64,
    SINT64,
    REAL32,
    REAL64,
    CHAR16,
    STRING,
    DATETIME,
};

/// Names as in MOF and sizes in bytes, indexed by `Type`.
extern const char* const type_name[14];
extern const size_t type_size[14];

inline Type type_of(const boolean&) {
    return BOOLEAN;
}
inline Type type_of(const uint8&) {
    return UINT8;
}
inline Type type_of(const sint8&) {
    return SINT8;
}
inline Type type_of(const uint16&) {
    return UINT16;
}
inline Type type_of(const sint16&) {
    return SINT16;
}
inline Type type_of(const uint32&) {
    return UINT32;
}
inline Type type_of(const sint32&) {
    return SINT32;
}
inline Type type_of(const uint64&) {
    return UINT64;
}
inline Type type_of(const sint64&) {
    return SINT64;
}
inline Type type_of(const real32&) {
    return REAL32;
}
inline Type type_of(const real64&) {
    return REAL64;
}
inline Type type_of(const char16&) {
    return CHAR16;
}
inline Type type_of(const String&) {
    return STRING;
}
inline Type type_of(const Datetime&) {
    return DATETIME;
}

/// Sets a value to zero. The overloads for class types are in their own headers.
inline void __clear(boolean& value) {
    value = false;
}
inline void __clear(uint8& value) {
    value = 0;
}
inline void __clear(sint8& value) {
    value = 0;
}
inline void __clear(uint16& value) {
    value = 0;
}
inline void __clear(sint16& value) {
    value = 0;
}
inline void __clear(uint32& value) {
    value = 0;
}
inline void __clear(sint32& value) {
    value = 0;
}
inline void __clear(uint64& value) {
    value = 0;
}
inline void __clear(sint64& value) {
    value = 0;
}
inline void __clear(real32& value) {
    value = 0;
}
inline void __clear(real64& value) {
    value = 0;
}

CIMPLE_NAMESPACE_END
