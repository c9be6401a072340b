#include "tools/Json.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <string.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "tools/Printable.h"

namespace varnock {
namespace {

using StringBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, CheckedMalloc>;

/// Room for most items, so that their buffer does not grow.
constexpr std::size_t kUsualLength = 1024;

bool isAscii(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080'8080'8080'8080;
    std::uint64_t all = 0;
    std::uint64_t word = 0;
    for (; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
        memcpy(&word, text.data(), sizeof word);
        all |= word;
    }
    word = 0;
    if (!text.empty()) {
        memcpy(&word, text.data(), text.size());
    }
    return ((all | word) & kHighBits) == 0;
}

/// JSON allows DEL and U+0080 to U+009F in strings, but a terminal may interpret them.
std::string withoutControls(std::string_view json) {
    if (json.find('\x7F') == json.npos && isAscii(json)) {
        return std::string(json);
    }
    std::string out;
    out.reserve(json.size());
    for (size_t i = 0; i < json.size(); ++i) {
        const bool isC1 = json[i] == '\xC2' && i + 1 < json.size() &&
                          static_cast<unsigned char>(json[i + 1]) < 0xA0;
        if (json[i] == '\x7F' || isC1) {
            char escape[7];
            snprintf(escape, sizeof escape, "\\u%04X",
                     static_cast<unsigned char>(json[isC1 ? ++i : i]));
            out += escape;
        } else {
            out += json[i];
        }
    }
    return out;
}

/// How many lists and objects contain each other at most.
std::size_t depthOf(std::string_view json) {
    std::size_t depth = 0;
    std::size_t deepest = 0;
    bool isInString = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char c = json[i];
        if (isInString) {
            i += c == '\\' ? 1 : 0;
            isInString = c != '"';
        } else if (c == '"') {
            isInString = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return deepest;
}

constexpr unsigned kAnyBytes = rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag;

/// False if the text is not JSON or has too many levels.
template <unsigned kFlags>
bool parseLimited(JsonDocument& document, std::string_view text) {
    constexpr std::size_t kDeepest = 64;
    return depthOf(text) <= kDeepest &&
           !document.Parse<kFlags>(text.data(), text.size()).HasParseError();
}

template <typename Writer>
std::string write(const Json& value) {
    StringBuffer buffer(nullptr, kUsualLength);
    Writer writer(buffer);
    value.Accept(writer);
    return withoutControls({buffer.GetString(), buffer.GetSize()});
}

}  // namespace

std::string escapeInvalidUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const size_t length = utf8Length(text);
        if (length == 0) {
            char escape[5];
            snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(text[0]));
            out += escape;
            text.remove_prefix(1);
        } else {
            out += text.substr(0, length);
            text.remove_prefix(length);
        }
    }
    return out;
}

Json text(std::string_view value, JsonAllocator& allocator) {
    if (isAscii(value)) {
        return Json(value.data(), static_cast<rapidjson::SizeType>(value.size()), allocator);
    }
    const std::string valid = escapeInvalidUtf8(value);
    return Json(valid.data(), static_cast<rapidjson::SizeType>(valid.size()), allocator);
}

Json copyValid(const Json& value, JsonAllocator& allocator) {
    if (value.IsString()) {
        return text({value.GetString(), value.GetStringLength()}, allocator);
    }
    Json copy;
    if (value.IsArray()) {
        copy.SetArray();
        for (const Json& item : value.GetArray()) {
            copy.PushBack(copyValid(item, allocator), allocator);
        }
    } else if (value.IsObject()) {
        copy.SetObject();
        for (const auto& member : value.GetObject()) {
            copy.AddMember(copyValid(member.name, allocator), copyValid(member.value, allocator),
                           allocator);
        }
    } else {
        copy.CopyFrom(value, allocator);
    }
    return copy;
}

bool parse(JsonDocument& document, std::string_view text) {
    return parseLimited<kAnyBytes | rapidjson::kParseValidateEncodingFlag>(document, text);
}

const Json* findMember(const Json& object, const char* name) {
    if (!object.IsObject()) {
        return nullptr;
    }
    const auto member = object.FindMember(name);
    return member == object.MemberEnd() ? nullptr : &member->value;
}

Json* findMember(Json& object, const char* name) {
    return const_cast<Json*>(findMember(std::as_const(object), name));
}

void add(Json& object, const char* name, Json value, JsonAllocator& allocator) {
    object.AddMember(rapidjson::StringRef(name), value, allocator);
}

void add(Json& object, const char* name, std::string_view value, JsonAllocator& allocator) {
    add(object, name, text(value, allocator), allocator);
}

std::string toString(const Json& value, bool pretty) {
    using Utf8 = rapidjson::UTF8<>;
    return pretty ? write<rapidjson::PrettyWriter<StringBuffer, Utf8, Utf8, CheckedMalloc>>(value)
                  : write<rapidjson::Writer<StringBuffer, Utf8, Utf8, CheckedMalloc>>(value);
}

Json fromString(std::string_view json, JsonAllocator& allocator) {
    JsonDocument document(&allocator);
    return parseLimited<kAnyBytes>(document, json) ? copyValid(document, allocator) : Json();
}

}  // namespace varnock
