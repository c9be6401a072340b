#include "tools/Json.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/writer.h>
#include <string.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "tools/PlainText.h"
#include "tools/Printable.h"

namespace varnock {
namespace {

/// Room for most items, so that their text does not grow. malloc() is much faster below 1024 bytes.
constexpr std::size_t kUsualLength = 1000;

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

/// The text that a writer makes.
class TextStream {
  public:
    using Ch = char;  // a name that RapidJSON expects

    void Put(char c) {
        makeRoom(1);
        text_[length_++] = c;
    }
    void Put(std::string_view piece) {
        makeRoom(piece.size());
        piece.copy(&text_[length_], piece.size());
        length_ += piece.size();
    }
    void Flush() {}

    std::string take() {
        text_.resize(length_);
        return std::move(text_);
    }

  private:
    void makeRoom(std::size_t length) {
        if (text_.size() - length_ < length) {
            text_.resize(2 * (length_ + length));
        }
    }

    std::string text_ = std::string(kUsualLength, '\0');
    std::size_t length_ = 0;
};

/// The escape of a character that JSON or a terminal may interpret; empty for others.
std::string escapeOf(char c) {
    constexpr std::string_view kNamed = "\b\f\n\r\t\"\\";
    constexpr std::string_view kNames = "bfnrt\"\\";
    if (const std::size_t named = kNamed.find(c); named != kNamed.npos) {
        return {'\\', kNames[named]};
    }
    char escape[7];
    snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned char>(c));
    return escape;
}

/// Writes strings in pieces, of which most need no escape. JSON allows DEL and U+0080 to U+009F in
/// strings, but a terminal may interpret them, so they are escaped, too.
template <typename Base>
class TextWriter : public Base {
  public:
    using Base::Base;

    bool String(const char* text, rapidjson::SizeType length, bool /*isCopied*/ = false) {
        if constexpr (requires(TextWriter & writer) {
                          writer.PrettyPrefix(rapidjson::kNullType);
                      }) {
            this->PrettyPrefix(rapidjson::kStringType);
        } else {
            this->Prefix(rapidjson::kStringType);
        }
        this->os_->Put('"');
        putPieces({text, length});
        this->os_->Put('"');
        return true;
    }
    bool Key(const char* text, rapidjson::SizeType length, bool isCopied = false) {
        return String(text, length, isCopied);
    }

  private:
    void putPieces(std::string_view text) {
        while (!text.empty()) {
            const std::size_t plain = plainLength<'"', '\\'>(text);
            this->os_->Put(text.substr(0, plain));
            text.remove_prefix(plain);
            if (!text.empty()) {
                text.remove_prefix(putSpecial(text));
            }
        }
    }
    /// The first character, of one or two bytes if it is escaped. Returns their number.
    std::size_t putSpecial(std::string_view text) {
        const bool isC1 =
            text.size() > 1 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) < 0xA0;
        if (isC1) {
            this->os_->Put(escapeOf(text[1]));
        } else if (static_cast<unsigned char>(text[0]) >= 0x80) {
            this->os_->Put(text[0]);
        } else {
            this->os_->Put(escapeOf(text[0]));
        }
        return isC1 ? 2 : 1;
    }
};

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

constexpr unsigned kAnyBytes = rapidjson::kParseIterativeFlag;

/// False if the text is not JSON or has too many levels.
template <unsigned kFlags>
bool parseLimited(JsonDocument& document, std::string_view text) {
    constexpr std::size_t kDeepest = 64;
    constexpr unsigned kExact = kFlags | rapidjson::kParseFullPrecisionFlag;
    if (depthOf(text) > kDeepest) {
        return false;
    }
    return hasScaledZero(text) ? !document.Parse<kFlags>(text.data(), text.size()).HasParseError()
                               : !document.Parse<kExact>(text.data(), text.size()).HasParseError();
}

using Utf8 = rapidjson::UTF8<>;

template <typename Writer>
std::string write(const Json& value) {
    TextStream text;
    TextWriter<Writer> writer(text);
    value.Accept(writer);
    return text.take();
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

bool hasScaledZero(std::string_view json) {
    constexpr std::size_t kMany = 20;
    for (std::size_t at = json.find('0'); at != json.npos; at = json.find('0', at)) {
        const std::size_t begin = at;
        at = std::min(json.find_first_not_of("0.", at), json.size());
        const bool isScaled = at < json.size() && (json[at] == 'e' || json[at] == 'E');
        if (isScaled || at - begin > kMany) {
            return true;
        }
    }
    return false;
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
    return pretty ? write<rapidjson::PrettyWriter<TextStream, Utf8, Utf8, CheckedMalloc>>(value)
                  : write<rapidjson::Writer<TextStream, Utf8, Utf8, CheckedMalloc>>(value);
}

Json fromString(std::string_view json, JsonAllocator& allocator) {
    JsonDocument document(&allocator);
    return parseLimited<kAnyBytes>(document, json) ? copyValid(document, allocator) : Json();
}

}  // namespace varnock
