#include "tools/Printable.h"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>

#include <algorithm>

#include "tools/PlainText.h"

namespace varnock {
namespace {

/// The output of the validator: counts the bytes of a sequence.
struct Counter {
    using Ch = char;
    void Put(char) { ++count; }
    std::size_t count = 0;
};

unsigned char byteAt(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]);
}

bool isControl(std::string_view character, Layout layout) {
    const unsigned char byte = byteAt(character, 0);
    if (layout == Layout::kept && (byte == '\n' || byte == '\t')) {
        return false;
    }
    return byte < 0x20 || byte == 0x7F || (byte == 0xC2 && byteAt(character, 1) < 0xA0);
}

/// The length of the text up to the next byte that is escaped.
std::size_t lengthShown(std::string_view text, Layout layout) {
    std::size_t length = 0;
    while (length < text.size()) {
        length += plainLength(text.substr(length));
        const std::string_view rest = text.substr(length);
        if (rest.empty()) {
            break;
        }
        const std::size_t character = utf8Length(rest);
        if (character == 0 || isControl(rest, layout)) {
            break;
        }
        length += character;
    }
    return length;
}

}  // namespace

std::size_t utf8Length(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    rapidjson::MemoryStream rest(text.data(), text.size());
    Counter sequence;
    return rapidjson::UTF8<>::Validate(rest, sequence) ? sequence.count : 0;
}

void forEachPrintable(std::string_view text, Layout layout,
                      void (*put)(void* context, std::string_view piece), void* context) {
    while (!text.empty()) {
        const std::size_t plain = lengthShown(text, layout);
        if (plain > 0) {
            put(context, text.substr(0, plain));
            text.remove_prefix(plain);
        }
        // An invalid sequence is escaped byte by byte, a control character as a whole.
        for (std::size_t rest = text.empty() ? 0 : std::max<std::size_t>(utf8Length(text), 1);
             rest > 0; --rest) {
            constexpr char digits[] = "0123456789ABCDEF";
            const unsigned char byte = byteAt(text, 0);
            const char escape[] = {'\\', 'x', digits[byte >> 4], digits[byte & 0xF]};
            put(context, {escape, sizeof escape});
            text.remove_prefix(1);
        }
    }
}

std::string printable(std::string_view text, Layout layout) {
    std::string out;
    out.reserve(text.size());
    forEachPrintable(
        text, layout,
        [](void* all, std::string_view piece) { static_cast<std::string*>(all)->append(piece); },
        &out);
    return out;
}

}  // namespace varnock
