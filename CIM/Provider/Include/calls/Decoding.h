#pragma once

#include <cimple/Array.h>
#include <cimple/Datetime.h>
#include <cimple/Property.h>
#include <cimple/String.h>
#include <cimple/config.h>

#include <string>
#include <type_traits>
#include <vector>

#include "transport/DataStream.h"
#include "transport/SipJson.h"

/// Converts the agent's data to the values of the calls. Streams are untrusted: every read checks
/// the size first.
namespace varnock::calls {

using cimple::boolean;
using cimple::sint32;
using cimple::uint16;
using cimple::uint32;
using cimple::uint64;
using cimple::uint8;

using Text = cimple::Property<cimple::String>;
using Date = cimple::Property<cimple::Datetime>;
using Bytes = cimple::Property<cimple::Array<uint8>>;

/// The result of a call without data: 0, null or empty.
template <class Result>
Result nothing() {
    if constexpr (!std::is_void_v<Result>) {
        Result result{};
        if constexpr (requires { result.clear(); }) {
            result.clear();  // a Property does not set its null flag itself
        }
        return result;
    }
}

/// A property that holds this value.
template <class Value>
cimple::Property<Value> propertyOf(const Value& value) {
    auto property = nothing<cimple::Property<Value>>();
    property.set(value);
    return property;
}

/// The number of a reply, cut to its width; the record does not cut it.
uint8 asByte(const SipJson& reply);
uint16 asWord(const SipJson& reply);
uint32 asDword(const SipJson& reply);

/// The little-endian number at this offset; 0 if the stream is too short.
uint8 byteAt(const CDataStream& stream, unsigned long offset);
uint16 wordAt(CDataStream& stream, unsigned long offset);
uint32 dwordAt(CDataStream& stream, unsigned long offset);

/// The text from `begin` to its NUL, or to `end`. REQUIRES: begin <= end <= size of the stream.
std::string textAt(const CDataStream& stream, unsigned long begin, unsigned long end);

uint8 firstByte(CDataStream& stream);
uint8 secondByte(CDataStream& stream);
uint16 firstWord(CDataStream& stream);
uint16 secondWord(CDataStream& stream);

/// Every byte of the stream as a number.
std::vector<uint32> bytesAsNumbers(CDataStream& stream);

/// Every complete word of the stream.
std::vector<uint16> words(CDataStream& stream);

/// Every byte of the stream, in order.
Bytes addressBytes(const CDataStream& stream);

/// Up to the first six bytes as hexadecimal digits; null if all are zero.
Text macAddress(const CDataStream& stream);

/// The NUL-terminated texts of the stream, one per line; null for an empty stream. The empty text
/// that ends a list of texts gives no line.
Text lines(CDataStream& stream);

/// A date of manufacture: a CIM datetime, or YYYYMMDD, YYYY-MM-DD or YYYY/MM/DD as midnight. Null
/// for any other text, for a day that the calendar does not have and for one before 1970, which a
/// CIM datetime cannot hold.
Date manufactureDate(const cimple::String& text);

}  // namespace varnock::calls
