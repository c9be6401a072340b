#include "agent/model/JsonText.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>

#include "tools/Json.h"

namespace varnock::agent {
namespace {

constexpr std::string_view kNumber = "0123456789+-.eE";

/// Where the string that ends before `end` begins: a quote behind an even number of backslashes.
std::size_t beginOfString(std::string_view text, std::size_t end) {
    for (std::size_t begin = end - 2;; --begin) {
        if (text[begin] != '"') {
            continue;
        }
        const std::size_t other = text.substr(0, begin).find_last_not_of('\\');
        if ((begin - (other + 1)) % 2 == 0) {
            return begin;
        }
    }
}

}  // namespace

/// Passes the values to the document and keeps their places.
class JsonText::Handler {
  public:
    Handler(Document& document, rapidjson::MemoryStream& stream, JsonText& owner)
        : document_(document), stream_(stream), owner_(owner) {}

    bool Null() { return at(stream_.Tell() - 4) && document_.Null(); }
    bool Bool(bool value) { return at(stream_.Tell() - (value ? 4 : 5)) && document_.Bool(value); }
    bool Int(int value) { return number() && document_.Int(value); }
    bool Uint(unsigned value) { return number() && document_.Uint(value); }
    bool Int64(std::int64_t value) { return number() && document_.Int64(value); }
    bool Uint64(std::uint64_t value) { return number() && document_.Uint64(value); }
    bool Double(double value) { return number() && document_.Double(value); }
    bool RawNumber(const char*, unsigned, bool) { return false; }
    bool String(const char* text, unsigned size, bool copy) {
        return at(beginOfString(owner_.text_, stream_.Tell())) &&
               document_.String(text, size, copy);
    }
    bool Key(const char* text, unsigned size, bool copy) { return String(text, size, copy); }
    bool StartObject() { return descend() && document_.StartObject(); }
    bool EndObject(unsigned members) {
        --depth_;
        return document_.EndObject(members);
    }
    bool StartArray() { return descend() && document_.StartArray(); }
    bool EndArray(unsigned elements) {
        --depth_;
        return document_.EndArray(elements);
    }

  private:
    bool at(std::size_t offset) {
        owner_.offsets_.push_back(offset);
        return true;
    }
    bool number() {
        const std::string_view before(owner_.text_.data(), stream_.Tell());
        return at(before.find_last_not_of(kNumber) + 1);
    }
    bool descend() { return ++depth_ <= kDepth && at(stream_.Tell() - 1); }

    Document& document_;
    rapidjson::MemoryStream& stream_;
    JsonText& owner_;
    unsigned depth_ = 0;
};

bool JsonText::read(Document& document, std::string& fault) {
    rapidjson::MemoryStream stream(text_.data(), text_.size());
    rapidjson::Reader reader;
    const auto fill = [&](Document& filled) {
        Handler handler(filled, stream, *this);
        constexpr unsigned kFlags = rapidjson::kParseValidateEncodingFlag;
        constexpr unsigned kExact = kFlags | rapidjson::kParseFullPrecisionFlag;
        return hasScaledZero(text_) ? !reader.Parse<kFlags>(stream, handler).IsError()
                                    : !reader.Parse<kExact>(stream, handler).IsError();
    };
    document.Populate(fill);
    if (reader.HasParseError()) {
        const rapidjson::ParseErrorCode code = reader.GetParseErrorCode();
        fault = place(reader.GetErrorOffset()) +
                (code == rapidjson::kParseErrorTermination
                     ? "more than " + std::to_string(kDepth) + " levels in each other"
                     : std::string(rapidjson::GetParseError_En(code)));
        return false;
    }
    std::size_t next = 0;
    keepPlaces(document, next);
    return true;
}

void JsonText::keepPlaces(const Node& value, std::size_t& next) {
    places_[&value] = offsets_[next++];
    if (value.IsArray()) {
        for (const Node& element : value.GetArray()) {
            keepPlaces(element, next);
        }
    } else if (value.IsObject()) {
        for (const auto& member : value.GetObject()) {
            places_[&member.name] = offsets_[next++];
            keepPlaces(member.value, next);
        }
    }
}

std::string JsonText::placeOf(const Node& value) const {
    const auto found = places_.find(&value);
    return place(found != places_.end() ? found->second : 0);
}

std::string JsonText::place(std::size_t offset) const {
    const std::string_view before(text_.data(), std::min(offset, text_.size()));
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::string_view rest = before.substr(before.rfind('\n') + 1);
    // Characters, not bytes: those that continue a character do not count.
    const auto column =
        std::count_if(rest.begin(), rest.end(),
                      [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }) +
        1;
    return file_ + ":" + std::to_string(line) + ":" + std::to_string(column) + ": ";
}

Node writtenValue(std::string_view text, JsonHeap& heap) {
    JsonText json{std::string(text), ""};
    Document document(&heap);
    std::string fault;
    if (!json.read(document, fault)) {
        return Node(text.data(), static_cast<rapidjson::SizeType>(text.size()), heap);
    }
    Node value;
    value.Swap(document);
    return value;
}

}  // namespace varnock::agent
