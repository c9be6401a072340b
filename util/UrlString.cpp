#include "util/UrlString.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "util/Ascii.h"

namespace {

using varnock::isSpace;

constexpr size_t kMaxValueBytes = 1024;
constexpr size_t kMaxQuotedText = 1024;
constexpr std::int64_t kByteListRoom = 1024;  // including the terminator
constexpr std::int64_t kRoomOfByte = 4;       // "255,"

struct Free {
    void operator()(char* text) const { free(text); }
};
using OwnedText = std::unique_ptr<char, Free>;

std::string_view viewOf(const char* text) {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

char* copyOf(std::string_view text) {
    char* copy = static_cast<char*>(malloc(text.size() + 1));
    if (copy == nullptr) {
        return nullptr;
    }
    text.copy(copy, text.size());
    copy[text.size()] = '\0';
    return copy;
}

/// Up to the first '&' outside quotes.
size_t lengthOfValue(std::string_view text) {
    bool isQuoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            isQuoted = !isQuoted;
        }
        if (text[i] == '&' && !isQuoted) {
            return i;
        }
    }
    return text.size();
}

/// Whether a parameter name can start here: after a separator and optional white space.
bool followsSeparator(std::string_view text, size_t at) {
    while (at > 0 && isSpace(text[at - 1])) {
        --at;
    }
    return at > 0 && (text[at - 1] == '&' || text[at - 1] == '?');
}

/// Writes the bytes that a value represents, at most `limit`, and returns their number.
size_t decodeValue(const char* value, size_t limit, char* out) {
    size_t count = 0;
    bool isQuoted = false;
    const char* number = value;  // start of a number; null after quotes
    for (; count < limit; ++value) {
        if (isQuoted) {
            if (*value == '\0') {
                break;
            }
            isQuoted = *value != '"';
            if (isQuoted) {
                out[count++] = *value;
            }
        } else if (*value == '"') {
            isQuoted = true;
            number = nullptr;
        } else if (*value == ',' || *value == '\0') {
            if (number != nullptr && number != value) {
                out[count++] = static_cast<char>(varnock::toNumber(strtoul, number, nullptr, 0));
            }
            if (*value == '\0') {
                break;
            }
            number = value + 1;
        }
    }
    return count;
}

}  // namespace

// --- CExtendableString --------------------------------------------------------------------------

CExtendableString::CExtendableString(const char* text) {
    Splice(0, 0, {viewOf(text)});
}

CExtendableString::~CExtendableString() {
    free(text_);
}

int CExtendableString::clampedCount(int start, int count) const {
    return count < 0 || count > length_ - start ? length_ - start : count;
}

char* CExtendableString::Extract(int start, int count) const {
    start = std::clamp(start, 0, length_);
    return copyOf({GetText() + start, static_cast<size_t>(clampedCount(start, count))});
}

void CExtendableString::Clear(int start, int count) {
    start = std::max(start, 0);
    if (start > length_) {
        return;
    }
    count = clampedCount(start, count);
    if (count == length_) {
        free(text_);
        text_ = nullptr;
    } else {
        // In place, without allocation.
        memmove(text_ + start, text_ + start + count,
                static_cast<size_t>(length_ - start - count) + 1);
    }
    length_ -= count;
}

void CExtendableString::Append(const char* text, int at) {
    if (at < 0 || at > length_) {
        at = length_;
    }
    if (viewOf(text).empty()) {
        Clear(at, -1);
    } else {
        Splice(at, length_ - at, {viewOf(text)});
    }
}

void CExtendableString::Replace(const char* text, int start, int count) {
    start = std::clamp(start, 0, length_);
    count = clampedCount(start, count);
    if (viewOf(text).empty()) {
        Clear(start, count);
    } else {
        Splice(start, count, {viewOf(text)});
    }
}

bool CExtendableString::Splice(int start, int count,
                               std::initializer_list<std::string_view> parts) {
    const size_t head = static_cast<size_t>(start);
    const size_t tail = static_cast<size_t>(length_ - start - count);
    size_t length = head + tail;
    for (const std::string_view part : parts) {
        if (part.size() > INT_MAX - length) {
            return false;
        }
        length += part.size();
    }
    if (length == 0) {
        Clear(0, -1);
        return true;
    }
    // Always a new buffer, because parts may lie in the old one.
    char* const text = static_cast<char*>(malloc(length + 1));
    if (text == nullptr) {
        return false;
    }
    char* end = std::copy_n(GetText(), head, text);
    for (const std::string_view part : parts) {
        end = std::copy(part.begin(), part.end(), end);
    }
    end = std::copy_n(GetText() + start + count, tail, end);
    *end = '\0';
    free(text_);
    text_ = text;
    length_ = static_cast<int>(length);
    return true;
}

// --- CUrlString: the list -----------------------------------------------------------------------

int CUrlString::serviceLength() const {
    return static_cast<int>(std::min(view().find_first_of(":?\""), view().size()));
}

void CUrlString::SetService(const char* service) {
    const int length = serviceLength();
    const std::string_view rest = view().substr(static_cast<size_t>(length));
    if (rest.substr(0, 2) == ":?") {
        Splice(0, length, {viewOf(service)});
    } else if (rest.substr(0, 1) == "?") {
        Splice(0, length, {viewOf(service), ":"});
    } else {
        Splice(0, 0, {viewOf(service), ":?"});
    }
}

int CUrlString::GetParamListOffset() const {
    const int length = serviceLength();
    const std::string_view rest = view().substr(static_cast<size_t>(length));
    if (rest.substr(0, 2) == ":?") {
        return length + 2;
    }
    return rest.substr(0, 1) == "?" ? length + 1 : 0;
}

/// A view without data if there is none.
std::string_view CUrlString::findValue(const char* name) const {
    const std::string_view wanted = viewOf(name);
    if (wanted.empty() || GetParamListOffset() == 0) {
        return {};
    }
    const std::string_view text = view();
    for (size_t at = text.find(wanted); at != text.npos; at = text.find(wanted, at + 1)) {
        if (!followsSeparator(text, at)) {
            continue;
        }
        const size_t colon = text.find(':', at);
        if (colon == text.npos) {
            return {};
        }
        size_t begin = colon + 1;
        while (begin < text.size() && isSpace(text[begin])) {
            ++begin;
        }
        const std::string_view rest = text.substr(begin);
        return rest.substr(0, lengthOfValue(rest));
    }
    return {};
}

char* CUrlString::GetParamValueString(const char* name, int* length) {
    const int offset = GetParamValueOffset(name, length);
    return offset != 0 ? const_cast<char*>(GetText()) + offset : nullptr;
}

int CUrlString::GetParamValueOffset(const char* name, int* length) const {
    const std::string_view value = findValue(name);
    if (length != nullptr) {
        *length = static_cast<int>(value.size());
    }
    return value.data() != nullptr ? static_cast<int>(value.data() - GetText()) : 0;
}

// --- CUrlString: reading ------------------------------------------------------------------------

int CUrlString::GetParamIntVal(const char* name, int defaultValue) const {
    const std::string_view value = findValue(name);
    const OwnedText text(value.data() != nullptr ? copyOf(value) : nullptr);
    if (text == nullptr) {
        return defaultValue;
    }
    char* end = nullptr;
    const long number = varnock::toNumber(strtol, text.get(), &end, 0);
    return end != text.get() ? static_cast<int>(number) : defaultValue;
}

char* CUrlString::GetParamStringVal(const char* name, const char* defaultValue) const {
    const std::string_view value = findValue(name);
    if (value.data() == nullptr) {
        return defaultValue != nullptr ? copyOf(defaultValue) : nullptr;
    }
    const OwnedText text(copyOf(value));
    return StringFromString(text.get(), nullptr);
}

int CUrlString::GetParamByteStream(const char* name, unsigned char* out, int maxBytes,
                                   int skip) const {
    maxBytes = std::max(maxBytes, 0);
    skip = std::max(skip, 0);
    const std::string_view value = findValue(name);
    if (value.data() == nullptr || out == nullptr) {
        return 0;
    }
    const OwnedText text(copyOf(value));
    int count = static_cast<int>(
        std::min(std::int64_t{maxBytes} + skip, static_cast<std::int64_t>(kMaxValueBytes)));
    const OwnedText bytes(StringFromString(text.get(), &count));
    if (bytes == nullptr || count <= skip) {
        return 0;
    }
    count = std::min(count - skip, maxBytes);
    memcpy(out, bytes.get() + skip, static_cast<size_t>(count));
    return count;
}

char* CUrlString::StringFromString(const char* value, int* length) {
    if (value == nullptr) {
        return nullptr;
    }
    const size_t wanted =
        length != nullptr ? static_cast<size_t>(std::max(*length, 0)) : strlen(value);
    const size_t limit = std::min(wanted, kMaxValueBytes);
    char* const bytes = static_cast<char*>(malloc(limit + 1));
    if (bytes == nullptr) {
        return nullptr;
    }
    const size_t count = decodeValue(value, limit, bytes);
    bytes[count] = '\0';
    if (length != nullptr) {
        *length = static_cast<int>(count);
    }
    return bytes;
}

// --- CUrlString: writing ------------------------------------------------------------------------

void CUrlString::SetParamVal(const char* name, const char* value) {
    setValue(name, "", viewOf(value));
}

void CUrlString::SetParamStringVal(const char* name, const char* text) {
    setValue(name, "\"", viewOf(text).substr(0, kMaxQuotedText));
}

void CUrlString::SetParamByteStream(const char* name, const unsigned char* bytes, int count) {
    std::array<char, kByteListRoom> list;
    if (bytes == nullptr) {
        count = 0;
    }
    const std::int64_t room = std::min(count * kRoomOfByte, kByteListRoom) - 1;
    std::int64_t used = 0;
    for (int i = 0; i < count; ++i) {
        std::array<char, kRoomOfByte> item{','};
        const char* const end = std::to_chars(&item[1], item.end(), bytes[i]).ptr;
        const char* const begin = i == 0 ? &item[1] : item.data();
        if (used + (end - begin) > room) {
            break;
        }
        used = std::copy(begin, end, list.begin() + used) - list.begin();
    }
    setValue(name, "", {list.data(), static_cast<size_t>(used)});
}

void CUrlString::setValue(const char* name, std::string_view quote, std::string_view value) {
    if (name == nullptr) {
        return;
    }
    const std::string_view old = findValue(name);
    if (old.data() != nullptr) {
        const int begin = static_cast<int>(old.data() - GetText());
        Splice(begin, static_cast<int>(old.size()), {quote, value, quote});
        return;
    }
    const bool isSeparated = view().empty() || view().back() == '&' || view().back() == '?';
    Splice(GetLength(), 0, {isSeparated ? "" : "&", name, ":", quote, value, quote});
}
