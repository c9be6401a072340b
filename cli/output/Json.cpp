#include "cli/output/Json.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>

#include "tools/Printable.h"

namespace varnockctl {
namespace {

using StringBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, CheckedMalloc>;

/// JSON allows DEL and U+0080 to U+009F in strings, but a terminal may interpret them.
std::string withoutControls(std::string_view json) {
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

template <typename Writer>
std::string write(const Json& value) {
    StringBuffer buffer;
    Writer writer(buffer);
    value.Accept(writer);
    return withoutControls({buffer.GetString(), buffer.GetSize()});
}

}  // namespace

std::string escapeInvalidUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const size_t length = varnock::utf8Length(text);
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

}  // namespace varnockctl
