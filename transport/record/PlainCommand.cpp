#include "transport/record/PlainCommand.h"

#include <cstdint>
#include <limits>
#include <utility>

#include "util/Ascii.h"

namespace varnock {
namespace {

constexpr std::string_view kRecordBegin = R"({"SIP":{"V":1,"CMD":[{)";
constexpr std::string_view kRecordEnd = "}]}}";
constexpr std::string_view kBlockBegin = R"({"RAW":[)";
constexpr std::string_view kBlockEnd = "]}";

}  // namespace

std::optional<PlainCommand::Key> PlainCommand::keyOf(std::string_view name) {
    if (name.size() != 2) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < kKeys; ++i) {
        if (kNames[i][0] == name[0] && kNames[i][1] == name[1]) {
            return static_cast<Key>(i);
        }
    }
    return std::nullopt;
}

const unsigned int* PlainCommand::number(Key key) const {
    return key != Key::data && has(key) ? &numbers_[static_cast<std::size_t>(key)] : nullptr;
}

void PlainCommand::append(Key key) {
    if (!has(key)) {
        order_[count_++] = key;
        present_ |= 1U << static_cast<unsigned int>(key);
    }
}

void PlainCommand::put(Key key, unsigned int number) {
    append(key);
    numbers_[static_cast<std::size_t>(key)] = number;
}

void PlainCommand::putData(JsonValue&& data) {
    append(Key::data);
    data_ = std::move(data);
    block_.clear();
}

void PlainCommand::putBlock(std::vector<unsigned char>&& block) {
    append(Key::data);
    data_.SetObject();
    block_ = std::move(block);
}

bool PlainCommand::remove(Key key) {
    if (!has(key)) {
        return false;
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count_; ++i) {
        if (order_[i] != key) {
            order_[kept++] = order_[i];
        }
    }
    --count_;
    present_ &= ~(1U << static_cast<unsigned int>(key));
    if (key == Key::data) {
        data_.SetNull();
        block_.clear();
    }
    return true;
}

void PlainCommand::clear() {
    count_ = 0;
    present_ = 0;
    data_.SetNull();
    block_.clear();
}

/// Reads what is usual and stops at everything else, errors among it: the caller then parses the
/// text in full.
class PlainCommand::Parser {
  public:
    Parser(const char* text, PlainCommand& command) : next_(text), command_(command) {}

    bool record() { return skip(kRecordBegin) && members() && skip(kRecordEnd) && *next_ == '\0'; }

  private:
    bool members() {
        do {
            if (!member()) {
                return false;
            }
        } while (skip(","));
        return true;
    }

    bool member() {
        if (next_[0] != '"' || next_[1] == '\0' || next_[2] == '\0' || next_[3] != '"' ||
            next_[4] != ':') {
            return false;
        }
        const std::optional<Key> key = keyOf({next_ + 1, 2});
        if (!key || command_.has(*key)) {
            return false;
        }
        next_ += 5;
        unsigned int value = 0;
        if (*key == Key::data) {
            return data();
        }
        if (!number(value)) {
            return false;
        }
        command_.put(*key, value);
        return true;
    }

    bool data() {
        unsigned int value = 0;
        if (number(value)) {
            command_.putData(JsonValue(value));
            return true;
        }
        return *next_ == '"' ? text() : block();
    }

    /// A number with more than digits ends at the first other character, which no caller accepts.
    bool number(unsigned int& out) {
        const char* digit = next_;
        std::uint64_t value = 0;
        while (isDigit(*digit) && value <= std::numeric_limits<unsigned int>::max()) {
            value = 10 * value + static_cast<unsigned int>(*digit++ - '0');
        }
        const bool leadingZero = *next_ == '0' && digit - next_ > 1;
        if (digit == next_ || leadingZero || value > std::numeric_limits<unsigned int>::max()) {
            return false;
        }
        next_ = digit;
        out = static_cast<unsigned int>(value);
        return true;
    }

    /// A text without escapes.
    bool text() {
        const char* const begin = next_ + 1;
        const char* end = begin;
        while (needsNoEscape(*end)) {
            ++end;
        }
        if (*end != '"' || end - begin > std::numeric_limits<int>::max()) {
            return false;
        }
        command_.putData(JsonValue(begin, static_cast<rapidjson::SizeType>(end - begin), jsonHeap));
        next_ = end + 1;
        return true;
    }

    /// A block of bytes, gathered in pieces: a byte at a time takes longer to append.
    bool block() {
        if (!skip(kBlockBegin)) {
            return false;
        }
        std::vector<unsigned char> bytes;
        std::array<unsigned char, 512> piece;
        bool more = true;
        while (more) {
            std::size_t count = 0;
            while (more && count < piece.size()) {
                if (!byte(piece[count++])) {
                    return false;
                }
                more = *next_ == ',';
                next_ += more ? 1 : 0;
            }
            bytes.insert(bytes.end(), piece.data(), piece.data() + count);
        }
        if (!skip(kBlockEnd)) {
            return false;
        }
        command_.putBlock(std::move(bytes));
        return true;
    }

    bool byte(unsigned char& out) {
        if (!isDigit(*next_)) {
            return false;
        }
        const char first = *next_;
        unsigned int value = digit();
        if (first != '0' && isDigit(*next_)) {
            value = 10 * value + digit();
            if (isDigit(*next_)) {
                value = 10 * value + digit();
            }
        }
        out = static_cast<unsigned char>(value);
        return value <= std::numeric_limits<unsigned char>::max();
    }

    unsigned int digit() { return static_cast<unsigned int>(*next_++ - '0'); }

    /// Skips these characters; false, and then it skips none, if the text goes on otherwise.
    bool skip(std::string_view expected) {
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (next_[i] != expected[i]) {
                return false;
            }
        }
        next_ += expected.size();
        return true;
    }

    const char* next_;
    PlainCommand& command_;
};

bool PlainCommand::parse(const char* text) {
    return Parser(text, *this).record();
}

void PlainCommand::write(TextSink& sink) const {
    sink.put(kRecordBegin);
    bool first = true;
    for (const Key key : *this) {
        if (!std::exchange(first, false)) {
            sink.Put(',');
        }
        sink.Put('"');
        sink.put(name(key));
        sink.put("\":");
        if (key != Key::data) {
            writeNumber(*number(key), sink);
        } else if (block_.empty()) {
            writeJson(data_, sink);
        } else {
            sink.put(kBlockBegin);
            writeBytes(block_, sink);
            sink.put(kBlockEnd);
        }
    }
    sink.put(kRecordEnd);
}

}  // namespace varnock
