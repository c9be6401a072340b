#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "transport/record/JsonText.h"
#include "transport/record/TextSink.h"

/// Internal.
namespace varnock {

/// A command as nearly all requests, replies and events have it: no member twice, none but the six
/// that the protocol names, and in them unsigned 32-bit numbers, or as data a text or a block of
/// bytes. It is stored as it is, without a document, which takes a fraction of the time and of the
/// memory: a byte of a block is a byte.
///
/// Not thread-safe: one thread at a time per object.
class PlainCommand {
  public:
    enum class Key : unsigned char { opCode, opCodeExt, objectId, cabinetNr, status, data };
    static constexpr std::size_t kKeys = 6;

    /// The names of the keys.
    static constexpr std::array<std::string_view, kKeys> kNames = {"OC", "OE", "OI",
                                                                   "CA", "ST", "DA"};
    static constexpr std::string_view name(Key key) {
        return kNames[static_cast<std::size_t>(key)];
    }
    static std::optional<Key> keyOf(std::string_view name);

    /// The number under a key; null if there is none.
    const unsigned int* number(Key key) const;
    /// The data; null if there is none. A block is shown as an empty object.
    const JsonValue* data() const { return has(Key::data) ? &data_ : nullptr; }
    /// The block of bytes; empty if the data is none.
    const std::vector<unsigned char>& block() const { return block_; }
    /// The keys in their order.
    const Key* begin() const { return order_.data(); }
    const Key* end() const { return order_.data() + count_; }

    /// Sets a value: replaces the existing one, or appends a member.
    void put(Key key, unsigned int number);
    void putData(JsonValue&& data);
    void putBlock(std::vector<unsigned char>&& block);  ///< REQUIRES: not empty
    /// Removes a member; true if there was one.
    bool remove(Key key);
    void clear();

    /// Reads the text of a record with one such command. False, and then the contents are of no
    /// use, for any other text. REQUIRES: a command without members.
    [[nodiscard]] bool parse(const char* text);
    /// Writes the text of the record with this command.
    void write(TextSink& sink) const;

  private:
    class Parser;

    bool has(Key key) const { return (present_ >> static_cast<unsigned int>(key) & 1U) != 0; }
    void append(Key key);

    std::array<Key, kKeys> order_{};
    unsigned char count_ = 0;
    unsigned int present_ = 0;  ///< one bit per key
    std::array<unsigned int, kKeys - 1> numbers_{};
    JsonValue data_;
    std::vector<unsigned char> block_;
};

}  // namespace varnock
