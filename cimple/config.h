#pragma once

#include <cstddef>

/// Opens the namespace of the framework. Its contents are visible outside the defining library,
/// even if the compiler hides symbols by default.
#define CIMPLE_NAMESPACE_BEGIN namespace [[gnu::visibility("default")]] cimple {
#define CIMPLE_NAMESPACE_END }

/// Marks an argument as deliberately unused.
#define CIMPLE_UNUSED(X) static_cast<void>(X)

#define CIMPLE_UINT8_MAX (static_cast<::cimple::uint8>(255))
#define CIMPLE_SINT8_MAX (static_cast<::cimple::sint8>(127))
#define CIMPLE_SINT8_MIN (static_cast<::cimple::sint8>(-128))
#define CIMPLE_UINT16_MAX (static_cast<::cimple::uint16>(65535))
#define CIMPLE_SINT16_MAX (static_cast<::cimple::sint16>(32767))
#define CIMPLE_SINT16_MIN (static_cast<::cimple::sint16>(-32768))
#define CIMPLE_UINT32_MAX 4294967295U
#define CIMPLE_SINT32_MAX 2147483647
#define CIMPLE_SINT32_MIN (-2147483647 - 1)
#define CIMPLE_UINT64_MAX 18446744073709551615ULL
#define CIMPLE_SINT64_MAX 9223372036854775807LL
#define CIMPLE_SINT64_MIN (-9223372036854775807LL - 1LL)

CIMPLE_NAMESPACE_BEGIN

using std::size_t;

/// The CIM scalar types. The 64-bit ones are `long long`, so they differ from `std::uint64_t`.
typedef bool boolean;
typedef unsigned char uint8;
typedef signed char sint8;
typedef unsigned short uint16;
typedef short sint16;
typedef unsigned int uint32;
typedef int sint32;
typedef unsigned long long uint64;
typedef long long sint64;
typedef float real32;
typedef double real64;

CIMPLE_NAMESPACE_END
