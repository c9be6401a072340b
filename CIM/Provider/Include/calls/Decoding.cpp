#include "CIM/Provider/Include/calls/Decoding.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "util/Ascii.h"

namespace varnock::calls {

namespace {

constexpr size_t kCimDatetimeLength = 25;

/// The digits of YYYYMMDD, YYYY-MM-DD or YYYY/MM/DD.
std::optional<std::string> dayDigits(const std::string& text) {
    const bool separated =
        text.size() == 10 && (text[4] == '-' || text[4] == '/') && text[7] == text[4];
    if (!separated && text.size() != 8) {
        return std::nullopt;
    }
    const std::string digits =
        separated ? text.substr(0, 4) + text.substr(5, 2) + text.substr(8, 2) : text;
    return std::all_of(digits.begin(), digits.end(), isDigit) ? std::optional(digits)
                                                              : std::nullopt;
}

bool isInCalendar(const std::string& digits) {
    const auto number = [&](size_t at, size_t count) {
        return std::stoi(digits.substr(at, count));
    };
    return std::chrono::year_month_day(std::chrono::year(number(0, 4)),
                                       std::chrono::month(static_cast<unsigned int>(number(4, 2))),
                                       std::chrono::day(static_cast<unsigned int>(number(6, 2))))
        .ok();
}

bool isCimDatetime(const std::string& text) {
    // The framework's parser passes every character to isdigit(), which is undefined for negative
    // values.
    return text.size() == kCimDatetimeLength && std::all_of(text.begin(), text.end(), [](char c) {
               return isDigit(c) || c == '.' || c == ':' || c == '+' || c == '-';
           });
}

}  // namespace

uint8 asByte(const SipJson& reply) {
    return static_cast<uint8>(reply.DataByte());
}
uint16 asWord(const SipJson& reply) {
    return static_cast<uint16>(reply.DataWord());
}
uint32 asDword(const SipJson& reply) {
    return reply.DataDWord();
}

uint8 byteAt(const CDataStream& stream, unsigned long offset) {
    const unsigned char* byte = stream.GetDataStream(offset);
    return byte != nullptr ? *byte : uint8{0};
}

uint16 wordAt(CDataStream& stream, unsigned long offset) {
    const unsigned long size = stream.DataSize();
    return size >= 2 && offset <= size - 2 ? stream.GetDataWordAt(offset) : uint16{0};
}

uint32 dwordAt(CDataStream& stream, unsigned long offset) {
    const unsigned long size = stream.DataSize();
    if (size < 4 || offset > size - 4) {
        return 0;
    }
    return stream.GetDataWordAt(offset) | uint32{stream.GetDataWordAt(offset + 2)} << 16;
}

uint8 firstByte(CDataStream& stream) {
    return byteAt(stream, 0);
}
uint8 secondByte(CDataStream& stream) {
    return byteAt(stream, 1);
}
uint16 firstWord(CDataStream& stream) {
    return wordAt(stream, 0);
}
uint16 secondWord(CDataStream& stream) {
    return wordAt(stream, 2);
}

std::vector<uint32> bytesAsNumbers(CDataStream& stream) {
    return std::vector<uint32>(stream.Data().begin(), stream.Data().end());
}

std::string textAt(const CDataStream& stream, unsigned long begin, unsigned long end) {
    const auto first = stream.Data().begin() + static_cast<std::ptrdiff_t>(begin);
    const auto last = stream.Data().begin() + static_cast<std::ptrdiff_t>(end);
    return std::string(first, std::find(first, last, 0));
}

std::vector<uint16> words(CDataStream& stream) {
    std::vector<uint16> result(stream.DataSize() / 2);
    for (unsigned long i = 0; i < result.size(); ++i) {
        result[i] = stream.GetDataWord(i);
    }
    return result;
}

Bytes addressBytes(const CDataStream& stream) {
    return propertyOf(cimple::Array<uint8>(stream.Data().data(), stream.Data().size()));
}

Text macAddress(const CDataStream& stream) {
    const std::vector<unsigned char>& bytes = stream.Data();
    const size_t count = std::min<size_t>(bytes.size(), 6);
    char digits[2 * 6 + 1] = "";
    bool allZero = true;
    for (size_t i = 0; i < count; ++i) {
        snprintf(digits + 2 * i, 3, "%02X", static_cast<unsigned int>(bytes[i]));
        allZero = allZero && bytes[i] == 0;
    }
    return allZero ? nothing<Text>() : propertyOf(cimple::String(digits));
}

Text lines(CDataStream& stream) {
    std::string bytes(stream.Data().begin(), stream.Data().end());
    if (bytes.empty()) {
        return nothing<Text>();
    }
    bytes.erase(bytes.find_last_not_of('\0') + 1);
    std::replace(bytes.begin(), bytes.end(), '\0', '\n');
    return propertyOf(provider::STDSTRINGToString(bytes));
}

Date manufactureDate(const cimple::String& text) {
    std::string candidate(text.c_str(), text.size());
    if (const auto digits = dayDigits(candidate)) {
        if (!isInCalendar(*digits)) {
            return nothing<Date>();
        }
        candidate = *digits + "000000.000000+000";
    }
    cimple::Datetime date;
    // The microseconds are unsigned; a time before the epoch becomes one in the far future.
    const bool understood =
        isCimDatetime(candidate) && date.set(candidate.c_str()) && date.usec() <= INT64_MAX;
    return understood ? propertyOf(date) : nothing<Date>();
}

}  // namespace varnock::calls
