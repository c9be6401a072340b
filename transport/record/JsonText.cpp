#include "transport/record/JsonText.h"

#include <rapidjson/reader.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>
#include <tuple>
#include <utility>

#include "util/Ascii.h"

namespace varnock {

namespace {

using rapidjson::SizeType;

/// Parses one text into its own document. Handling the parser's events bounds the nesting while the
/// text is read: the parser and the values' destructor both recurse, and a hostile text would make
/// them overflow the stack.
class Loader : public JsonDocument {
  public:
    explicit Loader(char* text) : GenericDocument(&heap_, kStackCapacity, &heap_), stream_(text) {}

    /// False if the text is not one whole document or needs too much memory. Modifies the text:
    /// strings are decoded in place before they are copied.
    bool load() {
        try {
            return parse();
        } catch (const std::bad_alloc&) {
            if (heap_.isOverspent()) {
                return false;
            }
            throw;
        }
    }

    /// @name Events of the parser
    /// Strings are copied, because the parsed text does not outlive the call; levels are counted.
    /// The base class handles the other events.
    /// @{
    bool Key(const char* name, SizeType length, bool) { return String(name, length, true); }
    bool String(const char* text, SizeType length, bool) {
        return GenericDocument::String(text, length, true);
    }
    bool StartObject() { return ++depth_ <= kMaxJsonNesting && GenericDocument::StartObject(); }
    bool EndObject(SizeType count) {
        --depth_;
        prepare(count, sizeof(Member));
        return GenericDocument::EndObject(count);
    }
    bool StartArray() {
        if (++depth_ > kMaxJsonNesting) {
            return false;
        }
        GenericDocument::StartArray();
        taken_[depth_] = takeSmallNumbers();
        return true;
    }
    bool EndArray(SizeType count) {
        count += taken_[depth_--];
        prepare(count, sizeof(JsonValue));
        return GenericDocument::EndArray(count);
    }
    /// @}

  private:
    bool parse() {
        bool complete = false;
        auto feed = [&](GenericDocument&) {
            rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonHeap> reader(
                &jsonHeap);
            return complete = !reader.Parse<rapidjson::kParseInsituFlag>(stream_, *this).IsError();
        };
        Populate(feed);
        return complete;
    }

    /// The base class takes the elements off its stack before it allocates their memory.
    void prepare(SizeType count, std::size_t size) {
        if (count != 0) {
            heap_.prepare(count * size);
        }
    }

    /// Blocks of bytes are long lists of small numbers, which this reads twice as fast as the
    /// parser. It reads a number together with its comma, and only before another digit: the parser
    /// handles everything that can be wrong in a list.
    SizeType takeSmallNumbers() {
        SizeType count = 0;
        for (char* next = stream_.src_; isDigit(*next); ++count) {
            auto number = digit(next);
            if (number != 0 && isDigit(*next)) {
                number = 10 * number + digit(next);
            }
            if (number >= 10 && isDigit(*next)) {
                number = 10 * number + digit(next);
            }
            if (*next++ != ',' || !isDigit(*next)) {
                break;
            }
            Uint(number);
            stream_.src_ = next;
        }
        return count;
    }

    static unsigned int digit(char*& next) { return static_cast<unsigned int>(*next++ - '0'); }

    /// Enough for most replies without growing.
    static constexpr std::size_t kStackCapacity = 512;

    JsonHeap heap_{kMaxJsonMemory};
    rapidjson::InsituStringStream stream_;
    unsigned int depth_ = 0;
    /// Per level: numbers not seen by the parser. Filled only once a level has an array, because
    /// most texts have few.
    std::array<SizeType, kMaxJsonNesting + 1> taken_;
};

/// The digits of a byte, so that blocks of bytes are written without arithmetic.
struct ByteText {
    std::array<char, 3> digits;
    unsigned char length;
};

constexpr std::array<ByteText, 256> makeByteTexts() {
    std::array<ByteText, 256> texts{};
    for (unsigned int byte = 0; byte < texts.size(); ++byte) {
        ByteText& text = texts[byte];
        for (unsigned int unit = 100; unit != 0; unit /= 10) {
            if (byte >= unit || unit == 1) {
                text.digits[text.length++] = static_cast<char>('0' + byte / unit % 10);
            }
        }
    }
    return texts;
}

constexpr std::array<ByteText, 256> kByteTexts = makeByteTexts();

void write(const JsonValue& value, TextSink& sink);

void writeByte(unsigned int byte, TextSink& sink) {
    const ByteText& text = kByteTexts[byte];
    std::memcpy(sink.room(text.digits.size()), text.digits.data(), text.digits.size());
    sink.advance(text.length);
}

void writeArray(const JsonValue& array, TextSink& sink) {
    sink.Put('[');
    bool first = true;
    for (const JsonValue& element : array.GetArray()) {
        if (!std::exchange(first, false)) {
            sink.Put(',');
        }
        if (element.IsUint() && element.GetUint() < kByteTexts.size()) {
            writeByte(element.GetUint(), sink);
        } else {
            write(element, sink);
        }
    }
    sink.Put(']');
}

void writeObject(const JsonValue& object, TextSink& sink) {
    sink.Put('{');
    bool first = true;
    for (const auto& member : object.GetObject()) {
        if (!std::exchange(first, false)) {
            sink.Put(',');
        }
        write(member.name, sink);
        sink.Put(':');
        write(member.value, sink);
    }
    sink.Put('}');
}

template <typename Integer>
void writeInteger(Integer number, TextSink& sink) {
    constexpr std::size_t longest = std::numeric_limits<Integer>::digits10 + 2;
    char* const begin = sink.room(longest);
    sink.advance(
        static_cast<std::size_t>(std::to_chars(begin, begin + longest, number).ptr - begin));
}

/// Writes nothing and returns false for a text that needs escapes.
bool writePlain(const JsonValue& leaf, TextSink& sink) {
    const char* text = leaf.GetString();
    const std::size_t length = leaf.GetStringLength();
    char* next = sink.room(length + 2);
    *next++ = '"';
    for (const char* const end = text + length; text != end; ++text) {
        if (!needsNoEscape(*text)) {
            return false;
        }
        *next++ = *text;
    }
    *next = '"';
    sink.advance(length + 2);
    return true;
}

void writeOther(const JsonValue& leaf, TextSink& sink) {
    rapidjson::Writer<TextSink, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonHeap> writer(sink,
                                                                                       &jsonHeap);
    if (leaf.Accept(writer)) {
        return;
    }
    writer.Reset(sink);  // an infinity or NaN
    writer.Null();
}

/// Nearly all leaves are plain texts and integers, which need no writer.
void write(const JsonValue& value, TextSink& sink) {
    if (value.IsString() && writePlain(value, sink)) {
        return;
    }
    if (value.IsUint64()) {
        writeInteger(value.GetUint64(), sink);
    } else if (value.IsInt64()) {
        writeInteger(value.GetInt64(), sink);
    } else if (value.IsArray()) {
        writeArray(value, sink);
    } else if (value.IsObject()) {
        writeObject(value, sink);
    } else {
        writeOther(value, sink);
    }
}

}  // namespace

bool parseJson(char* text, JsonDocument& document) {
    Loader loader(text);
    if (!loader.load()) {
        return false;
    }
    static_cast<JsonValue&>(document).Swap(loader);
    return true;
}

void writeJson(const JsonValue& value, TextSink& sink) {
    write(value, sink);
}

void writeNumber(unsigned int number, TextSink& sink) {
    writeInteger(number, sink);
}

void writeBytes(const std::vector<unsigned char>& bytes, TextSink& sink) {
    // The space for the longest texts and commas, for many bytes at a time.
    constexpr std::size_t kPiece = 256;
    constexpr std::size_t kLongest = std::tuple_size_v<decltype(ByteText::digits)> + 1;
    for (std::size_t done = 0; done < bytes.size();) {
        const std::size_t end = std::min(bytes.size(), done + kPiece);
        char* const begin = sink.room((end - done) * kLongest);
        char* next = begin;
        for (; done < end; ++done) {
            const ByteText& text = kByteTexts[bytes[done]];
            std::memcpy(next, text.digits.data(), text.digits.size());
            next += text.length;
            *next++ = ',';
        }
        if (done == bytes.size()) {
            --next;  // no comma behind the last one
        }
        sink.advance(static_cast<std::size_t>(next - begin));
    }
}

}  // namespace varnock
