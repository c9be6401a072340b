#include "tools/Printable.h"

#include <algorithm>
#include <array>

namespace varnock {
namespace {

struct Sequence {
    unsigned char first, last;  ///< range of the leading byte
    unsigned char low, high;    ///< range of the second byte
    std::size_t length;
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
std::size_t plainLength(std::string_view text, Layout layout) {
    std::size_t length = 0;
    while (length < text.size()) {
        if (text[length] >= ' ' && text[length] <= '~') {
            ++length;
            continue;
        }
        const std::string_view rest = text.substr(length);
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
    for (const Sequence& form : kSequences) {
        if (text.size() < form.length || byteAt(text, 0) < form.first ||
            byteAt(text, 0) > form.last) {
            continue;
        }
        bool valid =
            form.length == 1 || (byteAt(text, 1) >= form.low && byteAt(text, 1) <= form.high);
        for (std::size_t i = 2; i < form.length; ++i) {
            valid = valid && (byteAt(text, i) & 0xC0) == 0x80;
        }
        return valid ? form.length : 0;
    }
    return 0;
}

void forEachPrintable(std::string_view text, Layout layout,
                      void (*put)(void* context, std::string_view piece), void* context) {
    while (!text.empty()) {
        const std::size_t plain = plainLength(text, layout);
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
