#include "cli/output/Json.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <cstdio>

namespace varnockctl {
namespace {

struct Sequence {
    unsigned char first, last;  ///< range of the leading byte
    unsigned char low, high;    ///< range of the second byte
    size_t length;
};

/// Well-formed byte sequences as in table 3-7 of the Unicode Standard.
constexpr std::array<Sequence, 9> kSequences{{{0x00, 0x7F, 0, 0, 1},
                                             {0xC2, 0xDF, 0x80, 0xBF, 2},
                                             {0xE0, 0xE0, 0xA0, 0xBF, 3},
                                             {0xE1, 0xEC, 0x80, 0xBF, 3},
                                             {0xED, 0xED, 0x80, 0x9F, 3},
                                             {0xEE, 0xEF, 0x80, 0xBF, 3},
                                             {0xF0, 0xF0, 0x90, 0xBF, 4},
                                             {0xF1, 0xF3, 0x80, 0xBF, 4},
                                             {0xF4, 0xF4, 0x80, 0x8F, 4}}};

/// The length of the well-formed sequence at the beginning of the text, 0 if there is none.
size_t validPrefix(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    for (const Sequence& form : kSequences) {
        if (byte(0) < form.first || byte(0) > form.last || text.size() < form.length) {
            continue;
        }
        bool valid = form.length == 1 || (byte(1) >= form.low && byte(1) <= form.high);
        for (size_t i = 2; i < form.length; ++i) {
            valid = valid && (byte(i) & 0xC0) == 0x80;
        }
        return valid ? form.length : 0;
    }
    return 0;
}

template <typename Writer>
std::string write(const Json& value) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

std::string escapeInvalidUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const size_t length = validPrefix(text);
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
    return pretty ? write<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(value)
                  : write<rapidjson::Writer<rapidjson::StringBuffer>>(value);
}

}  // namespace varnockctl
